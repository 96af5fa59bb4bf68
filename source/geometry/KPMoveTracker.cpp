#include "source/geometry/KPMoveTracker.h"

#include "source/geometry/KPGeometryParameterView.h"
#include "source/geometry/KPPointTemplate.h"

namespace vello {

void KPMoveTracker::mouseDown(const KPEvent& event) {
  fStartOrigin = fParameterView.parameterLocation();
  fStartPoint = fLastPoint = event.viewPoint(*fMainView);
  fParameterView.scrollToVisibleInStack();
}

void KPMoveTracker::mouseDrag(const KPEvent& event) {
  const CGPoint point = event.viewPoint(*fMainView);
  if (point == fLastPoint) return;
  fParameterView.moveParameterTo(fStartOrigin + (point - fStartPoint));
  fLastPoint = point;
}

void KPMoveTracker::mouseUp(const KPEvent& event) {
  mouseDrag(event);
  redisplayUnlessSlow();
}

}  // namespace vello
