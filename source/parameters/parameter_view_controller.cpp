#include "source/parameters/parameter_view_controller.h"

#include "platform/notification_center.h"
#include "source/screen/notifications.h"

namespace vello {

void KPParameterViewControllerProtocol::announcePositionControl() const {
  NotificationCenter::defaultCenter().post({KPPositionControlAddedNotification, this, {}});
}

void KPParameterViewControllerProtocol::withdrawPositionControl() const {
  NotificationCenter::defaultCenter().post({KPPositionControlRemovedNotification, this, {}});
}

}  // namespace vello
