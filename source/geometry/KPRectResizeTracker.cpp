#include "source/geometry/KPRectResizeTracker.h"

#include "source/geometry/KPRectParameterView.h"

namespace vello {

KPRectResizeTracker::KPRectResizeTracker(KPRectParameterView& parameterView, KPRectHandle handle,
                                         bool keepAspectRatio, float aspectRatio,
                                         const KPRectTemplate& constrainingRect)
    : fParameterView(parameterView),
      fRectHandle(handle),
      fKeepAspectRatio(keepAspectRatio),
      fAspectRatio(aspectRatio),
      fConstrainingRect(constrainingRect) {}

void KPRectResizeTracker::mouseDown(const KPEvent& event) {
  fStartingMousePoint = fLastMousePoint = event.viewPoint(*fMainView);
  fStartingBounds = fCurrentBounds = fParameterView.destinationRectValue();
  fStartingHandlePoint = fStartingBounds.GetHandlePoint(fRectHandle);
  fShiftKeyDown = event.shiftKeyDown();
  fParameterView.scrollToVisibleInStack();
}

void KPRectResizeTracker::mouseDrag(const KPEvent& event) {
  const KPPointTemplate point = event.viewPoint(*fMainView);
  const bool shift = event.shiftKeyDown();
  if (point == fLastMousePoint && shift == fShiftKeyDown) return;
  fCurrentBounds = fStartingBounds;
  moveHandleTo((point - fStartingMousePoint) + fStartingHandlePoint, shift != fKeepAspectRatio);
  fParameterView.setDestinationRectValue(fCurrentBounds);
  fCurrentBounds = fParameterView.destinationRectValue();
  fLastMousePoint = point;
  fShiftKeyDown = shift;
}

void KPRectResizeTracker::moveHandleTo(const KPPointTemplate& point, bool keepAspectRatio) {
  if (keepAspectRatio) {
    if (fConstrainingRect.IsEmpty())
      fCurrentBounds.MoveHandle(fRectHandle, point, fAspectRatio);
    else
      fCurrentBounds.MoveHandle(fRectHandle, point, fAspectRatio, fConstrainingRect);
    return;
  }
  fCurrentBounds.MoveHandle(fRectHandle, point);
  if (!fConstrainingRect.IsEmpty()) fCurrentBounds = fConstrainingRect.GetConstrainedRect(fCurrentBounds);
}

void KPRectResizeTracker::mouseUp(const KPEvent& event) {
  mouseDrag(event);
  redisplayUnlessSlow();
}

}  // namespace vello
