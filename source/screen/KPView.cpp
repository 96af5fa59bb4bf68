#include "source/screen/KPView.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "source/screen/KPWindow.h"

namespace vello {
namespace {

CGRect spanned(CGPoint a, CGPoint b) {
  return {{std::min(a.x, b.x), std::min(a.y, b.y)}, {std::fabs(a.x - b.x), std::fabs(a.y - b.y)}};
}

CGPoint farCorner(const CGRect& rect) {
  return {rect.origin.x + rect.size.width, rect.origin.y + rect.size.height};
}

bool contains(const CGRect& rect, CGPoint p) {
  const CGPoint end = farCorner(rect);
  return rect.origin.x <= p.x && p.x < end.x && rect.origin.y <= p.y && p.y < end.y;
}

CGRect intersection(const CGRect& a, const CGRect& b) {
  const CGPoint from{std::max(a.origin.x, b.origin.x), std::max(a.origin.y, b.origin.y)};
  const CGPoint endA = farCorner(a), endB = farCorner(b);
  const CGPoint to{std::min(endA.x, endB.x), std::min(endA.y, endB.y)};
  return from.x < to.x && from.y < to.y ? spanned(from, to) : CGRect{};
}

}  // namespace

KPView::~KPView() {
  removeFromSuperview();
  for (KPView* view : fSubviews) view->fSuperview = nullptr;
}

void KPView::setFrame(const CGRect& frame) {
  if (frame == fFrame) return;
  fFrame = frame;
  setNeedsDisplay(true);
}

void KPView::setBoundsOrigin(CGPoint origin) {
  fBoundsOrigin = origin;
  setNeedsDisplay(true);
}

void KPView::addSubview(KPView& view) {
  assert(&view != this);
  view.removeFromSuperview();
  view.fSuperview = this;
  fSubviews.push_back(&view);
  setNeedsDisplay(true);
}

void KPView::removeFromSuperview() {
  if (!fSuperview) return;
  std::erase(fSuperview->fSubviews, this);
  fSuperview->setNeedsDisplay(true);
  fSuperview = nullptr;
}

KPWindow* KPView::window() const {
  const KPView* root = this;
  while (root->fSuperview) root = root->fSuperview;
  return root->fWindow;
}

void KPView::setHidden(bool hidden) {
  fHidden = hidden;
  setNeedsDisplay(true);
}

// The window is not flipped.
bool KPView::isFlippedInSuperview() const { return isFlipped() != (fSuperview && fSuperview->isFlipped()); }

CGPoint KPView::toSuperview(CGPoint point) const {
  const double x = point.x - fBoundsOrigin.x, y = point.y - fBoundsOrigin.y;
  return {fFrame.origin.x + x, fFrame.origin.y + (isFlippedInSuperview() ? fFrame.size.height - y : y)};
}

CGPoint KPView::fromSuperview(CGPoint point) const {
  const double x = point.x - fFrame.origin.x, y = point.y - fFrame.origin.y;
  return {x + fBoundsOrigin.x, (isFlippedInSuperview() ? fFrame.size.height - y : y) + fBoundsOrigin.y};
}

CGPoint KPView::convertPointToView(CGPoint point, const KPView* view) const {
  // The short way where there is one: nothing is added that has to be taken off again.
  const KPView* from = this;
  for (; from && from != view; from = from->fSuperview) point = from->toSuperview(point);
  return from == view ? point : view->convertPointFromView(point, nullptr);
}

CGPoint KPView::convertPointFromView(CGPoint point, const KPView* view) const {
  if (view == this) return point;
  if (fSuperview) return fromSuperview(fSuperview->convertPointFromView(point, view));
  return fromSuperview(view ? view->convertPointToView(point, nullptr) : point);
}

CGRect KPView::convertRectToView(const CGRect& rect, const KPView* view) const {
  return spanned(convertPointToView(rect.origin, view), convertPointToView(farCorner(rect), view));
}

CGRect KPView::convertRectFromView(const CGRect& rect, const KPView* view) const {
  return spanned(convertPointFromView(rect.origin, view), convertPointFromView(farCorner(rect), view));
}

CGPoint KPView::convertPointToScreen(CGPoint point) const {
  const CGPoint inWindow = convertPointToView(point, nullptr);
  const KPWindow* window = this->window();
  return window ? window->convertPointToScreen(inWindow) : inWindow;
}

CGRect KPView::visibleRect() const {
  CGRect visible = bounds();
  const KPView* view = this;
  for (const KPView* above = fSuperview; above; view = above, above = above->fSuperview)
    visible = intersection(view->convertRectToView(visible, above), above->bounds());
  return visible.size.width > 0 ? convertRectFromView(visible, view) : CGRect{};
}

KPView* KPView::hitTest(CGPoint point) {
  if (fHidden || !contains(fFrame, point)) return nullptr;
  const CGPoint inside = fromSuperview(point);
  for (auto view = fSubviews.rbegin(); view != fSubviews.rend(); ++view)
    if (KPView* hit = (*view)->hitTest(inside)) return hit;
  return this;
}

void KPView::scrollRectToVisible(const CGRect& rect) {
  if (fSuperview) fSuperview->scrollRectToVisible(convertRectToView(rect, fSuperview));
}

}  // namespace vello
