#include "source/canvas/KPImageFilterView.h"

#include "platform/notification_center.h"
#include "source/parameters/parameter_view_controller.h"
#include "source/screen/notifications.h"

namespace vello {

KPImageFilterView::KPImageFilterView() {
  fControlAddedObserver = NotificationCenter::defaultCenter().addObserver(
      KPPositionControlAddedNotification, nullptr,
      [this](const Notification& n) { positionControlAdded(n.object); });
}

void KPImageFilterView::setFilterStack(const KPFilterStack& stack, CIImage baseImage) {
  fFilterStack = &stack;
  fBaseImage = std::move(baseImage);
}

void KPImageFilterView::setCarbonDragging(bool carbonDragging) {
  fRunLoopMode = carbonDragging ? kDefaultRunLoopMode : kModalPanelRunLoopMode;
}

void KPImageFilterView::positionControlAdded(const void* controller) const {
  // Another session on this thread may be making a box while ours waits: its controls are not ours.
  if (!fFilterStack || !fFilterStack->isMakingBox()) return;
  const auto* sender = static_cast<const KPParameterViewControllerProtocol*>(controller);
  const_cast<KPParameterViewControllerProtocol*>(sender)->setImageBounds(fBaseImage.extent());
}

}  // namespace vello
