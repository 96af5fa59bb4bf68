#include "source/geometry/KPPanTracker.h"

#include "platform/log.h"
#include "source/geometry/KPPointTemplate.h"
#include "source/geometry/rect_functions.h"

namespace vello {

void KPPanTracker::mouseDrag(const KPEvent& event) {
  const KPView& content = fMainView->scrollContentView();
  const CGPoint origin = content.convertPointToView(content.bounds().origin, fMainView);
  const CGPoint target = origin + (fLastPoint - event.locationInWindow);
  if (!IsFinite(target)) return logLine("*** Vello : a drag of the canvas to no finite place was refused");
  fMainView->scrollPoint(target);
  fLastPoint = event.locationInWindow;
}

}  // namespace vello
