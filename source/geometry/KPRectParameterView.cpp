#include "source/geometry/KPRectParameterView.h"

#include <cmath>

#include "platform/log.h"
#include "platform/number_text.h"
#include "source/geometry/KPCategoryNSView.h"
#include "source/geometry/KPMoveTracker.h"
#include "source/geometry/KPRectResizeTracker.h"
#include "source/geometry/rect_functions.h"

namespace vello {
namespace {

constexpr double kMargin = 3.5;  // around the rectangle, for the handles
constexpr double kTabPadding = 8, kTabRadius = 4;
constexpr int kHandleSizePx = 5;

// y grows upwards on the canvas, so the top handles are seen at the lower edge.
std::optional<KPCursor> resizeCursor(KPRectHandle handle) {
  switch (handle) {
    case kRectHandleTopLeft:
    case kRectHandleBottomRight:
      return KPCursor::resizeNESWCursor;
    case kRectHandleTopRight:
    case kRectHandleBottomLeft:
      return KPCursor::resizeNWSECursor;
    case kRectHandleMiddleTop:
    case kRectHandleMiddleBottom:
      return KPCursor::resizeNSCursor;
    case kRectHandleMiddleLeft:
    case kRectHandleMiddleRight:
      return KPCursor::resizeEWCursor;
    default:
      return std::nullopt;
  }
}

bool isRatio(float ratio) { return ratio > 0 && std::isfinite(ratio); }

}  // namespace

KPRectParameterView::KPRectParameterView(std::string title, bool keepAspectByDefault,
                                         KPParameterViewOwner& controller)
    : KPGeometryParameterView({{}, {1, 1}}, std::move(title), controller),
      fKeepAspectByDefault(keepAspectByDefault) {
  updateTitleAndFrame();
}

void KPRectParameterView::setAspectRatio(float ratio) {
  if (ratio != 0 && !isRatio(ratio))
    return logLine("*** Vello : %@: the aspect ratio %@ was refused", {title(), numberText(double{ratio})});
  fAspectRatio = ratio;
}

bool KPRectParameterView::acceptsRect(const CGRect& rect) const {
  if (IsFinite(rect)) return true;
  logLine("*** Vello : %@: a rectangle that is not finite was refused", {title()});
  return false;
}

void KPRectParameterView::setRectValue(const CGRect& rect) {
  if (!acceptsRect(rect)) return;
  fRectValue = rect;
  updateTitleAndFrame();
}

KPRectTemplate KPRectParameterView::toCanvasRect(const CGRect& rect) const {
  const CGPoint end{rect.origin.x + rect.size.width, rect.origin.y + rect.size.height};
  return KPRectTemplate(KPPointTemplate(toCanvas(rect.origin)), KPPointTemplate(toCanvas(end)));
}

void KPRectParameterView::setDestinationRectValue(const KPRectTemplate& rect) {
  const CGRect value =
      KPRectTemplate(KPPointTemplate(toImage(rect.TopLeft())), KPPointTemplate(toImage(rect.BottomRight())));
  if (!acceptsRect(value)) return;
  setRectValue(value);
  updateObservedObject();
}

void KPRectParameterView::moveParameterTo(CGPoint point) {
  const CGRect moved{toImage(point), fRectValue.size};
  if (!acceptsRect(moved)) return;
  setRectValue(moved);
  updateObservedObject();
}

void KPRectParameterView::showValue(const CIVector& value) {
  setRectValue({{value.X(), value.Y()}, {value.Z(), value.W()}});
}

CIVector KPRectParameterView::shownValue() const {
  return {fRectValue.origin.x, fRectValue.origin.y, fRectValue.size.width, fRectValue.size.height};
}

void KPRectParameterView::setTransform(const CGAffineTransform& transform) {
  KPGeometryParameterView::setTransform(transform);
  updateTitleAndFrame();
}

void KPRectParameterView::setTitle(std::string title) {
  KPGeometryParameterView::setTitle(std::move(title));
  updateTitleAndFrame();
}

void KPRectParameterView::updateTitleAndFrame() {
  const CGRect rect = destinationRectValue();
  const CGSize titleSize = this->titleSize();
  const CGSize tab{titleSize.width + kTabPadding, titleSize.height + kTabPadding};
  double width = rect.size.width + 2 * kMargin;
  const bool overhangs = tab.width + kMargin > width;
  if (overhangs) width = tab.width + kMargin;
  setFrame({{rect.origin.x - kMargin, rect.origin.y - kMargin},
            {width + 1, rect.size.height + 2 * kMargin + tab.height}});

  fTitlePosition = {7.5, rect.size.height + titleSize.height / 2 + 4};
  const CGRect tabOnPixels =
      convertRectToCenteredWindowRect(*this, {{kMargin, rect.size.height + kMargin}, tab});
  fTitleTabBounds = convertRectFromView(tabOnPixels, nullptr);
  buildTabPaths(overhangs, rect.size.width + kMargin);
}

void KPRectParameterView::buildTabPaths(bool overhangs, double rectRight) {
  const double left = fTitleTabBounds.origin.x, right = left + fTitleTabBounds.size.width;
  const double low = fTitleTabBounds.origin.y, high = low + fTitleTabBounds.size.height;
  KPPath path;
  path.moveToPoint({left, low});
  path.lineToPoint({left, high - kTabRadius});
  path.appendArc({left + kTabRadius, high - kTabRadius}, kTabRadius, 180, 90);
  path.lineToPoint({right - kTabRadius, high});
  path.appendArc({right - kTabRadius, high - kTabRadius}, kTabRadius, 90, 0);
  if (overhangs) {
    path.lineToPoint({right, low + kTabRadius});
    path.appendArc({right - kTabRadius, low + kTabRadius}, kTabRadius, 360, 270);
  } else {
    path.lineToPoint({right, low});
  }
  fTabStrokePath = path;
  if (overhangs) fTabStrokePath.lineToPoint({rectRight, low});
  path.closePath();
  fTabPath = std::move(path);
}

const KPView& KPRectParameterView::canvas() const {
  static const KPView window;
  return superview() ? *superview() : window;
}

CGRect KPRectParameterView::outlineInWindow() const {
  return convertRectToCenteredWindowRect(canvas(), destinationRectValue());
}

CGRect KPRectParameterView::handleSquareInWindow(KPRectHandle handle) const {
  return convertPointToWindowRect(canvas(), destinationRectValue().GetHandlePoint(handle), kHandleSizePx);
}

KPRectHandle KPRectParameterView::hitTestHandles(CGPoint point) const {
  for (const KPRectHandle handle : kHandleOrder)
    if (mouseInRect(point, convertRectFromView(handleSquareInWindow(handle), nullptr))) return handle;
  return kRectHandleNone;
}

KPRectHandle KPRectParameterView::handleAtCanvasPoint(CGPoint point) const {
  return hitTestHandles(convertPointFromView(point, superview()));
}

KPView* KPRectParameterView::hitTest(CGPoint point) {
  const CGPoint inside = convertPointFromView(point, superview());
  if (hitTestHandles(inside) != kRectHandleNone || mouseInRect(inside, fTitleTabBounds)) return this;
  KPRectTemplate outer = destinationRectValue(), inner = outer;
  outer.Inset(-1, -1);
  inner.Inset(1, 1);
  return outer.Contains(KPPointTemplate(point)) && !inner.Contains(KPPointTemplate(point)) ? this : nullptr;
}

std::unique_ptr<KPTracker> KPRectParameterView::tracker(CGPoint mouseDownPoint) {
  const KPRectHandle handle = handleAtCanvasPoint(mouseDownPoint);
  if (handle == kRectHandleNone) return std::make_unique<KPMoveTracker>(*this);
  const KPRectTemplate rect = destinationRectValue();
  const float ratio = fAspectRatio != 0 ? fAspectRatio : rect.Width() / rect.Height();
  if (!isRatio(ratio))
    logLine("*** Vello : %@: the rectangle is empty, so its resizing keeps no aspect ratio", {title()});
  return std::make_unique<KPRectResizeTracker>(*this, handle, fKeepAspectByDefault, ratio,
                                               destinationConstrainingRect());
}

std::optional<KPCursor> KPRectParameterView::mouseOverCursor(CGPoint point) const {
  const auto cursor = resizeCursor(handleAtCanvasPoint(point));
  return cursor ? cursor : KPCursor::pointingHandCursor;
}

std::optional<KPCursor> KPRectParameterView::mouseDownCursor(CGPoint point) const {
  const auto cursor = resizeCursor(handleAtCanvasPoint(point));
  return cursor ? cursor : KPCursor::closedHandCursor;
}

void KPRectParameterView::resetCursorRectsForView(KPView& view) const {
  view.addCursorRect(convertRectToView(visibleRect(), &view), KPCursor::pointingHandCursor);
  for (const KPRectHandle handle : kHandleOrder)
    view.addCursorRect(view.convertRectFromView(handleSquareInWindow(handle), nullptr),
                       *resizeCursor(handle));
}

}  // namespace vello
