#include "source/geometry/KPPositionParameterView.h"

#include "platform/log.h"
#include "source/geometry/KPCategoryNSView.h"
#include "source/geometry/KPMoveTracker.h"
#include "source/geometry/rect_functions.h"

namespace vello {
namespace {

constexpr double kHandleSide = 24, kTitleX = 30;

}  // namespace

KPPositionParameterView::KPPositionParameterView(std::string title, KPParameterViewOwner& controller)
    : KPGeometryParameterView({{}, {1, 1}}, std::move(title), controller),
      fHandlePath(KPPath::bezierPathWithOvalInRect({{6, 6}, {12, 12}})) {
  fCrosshairPath.moveToPoint({12, 0});
  fCrosshairPath.lineToPoint({12, kHandleSide});
  fCrosshairPath.moveToPoint({0, 12});
  fCrosshairPath.lineToPoint({kHandleSide, 12});
  createHandle();
}

void KPPositionParameterView::createHandle() {
  setFrameSize({titleSize().width + kTitleX, kHandleSide});
  fTitlePosition = {kTitleX, (kHandleSide - titleSize().height) * 0.5};
}

void KPPositionParameterView::setTitle(std::string title) {
  KPGeometryParameterView::setTitle(std::move(title));
  createHandle();
}

void KPPositionParameterView::setPosition(CGPoint position) {
  if (!IsFinite(position))
    return logLine("*** Vello : %@: a position that is not finite was refused", {title()});
  fPosition = position;
  placeFrame();
}

void KPPositionParameterView::placeFrame() {
  const CGPoint center = toCanvas(fPosition);
  setFrameOrigin({center.x - kHandleSide / 2, center.y - kHandleSide / 2});
}

void KPPositionParameterView::setTransform(const CGAffineTransform& transform) {
  KPGeometryParameterView::setTransform(transform);
  placeFrame();
}

KPView* KPPositionParameterView::hitTest(CGPoint point) {
  return mouseInRect(point, {frame().origin, {kHandleSide, frame().size.height}}) ? this : nullptr;
}

void KPPositionParameterView::moveParameterTo(CGPoint point) {
  const CGPoint position = toImage(point);
  setPosition(position);
  if (IsFinite(position)) updateObservedObject();
}

std::unique_ptr<KPTracker> KPPositionParameterView::tracker(CGPoint) {
  return std::make_unique<KPMoveTracker>(*this);
}

}  // namespace vello
