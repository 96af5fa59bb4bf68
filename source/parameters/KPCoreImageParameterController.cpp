#include "source/parameters/KPCoreImageParameterController.h"

#include "platform/notification_center.h"
#include "source/parameters/chain_value.h"
#include "source/parameters/vector_encoding.h"
#include "source/screen/notifications.h"

namespace vello {

KPCoreImageParameterController::KPCoreImageParameterController(std::shared_ptr<CIFilter> filter,
                                                               std::string parameter, float updateDelay)
    : fFilter(std::move(filter)),
      fKey(std::move(parameter)),
      fUpdateDelay(updateDelay),
      fObservation(observeFilter()) {}

Connection KPCoreImageParameterController::observeFilter() {
  return fFilter->observe(fKey, [this] { observeValueForKeyPath(fKey); });
}

void KPCoreImageParameterController::observeValueForKeyPath(std::string_view) {
  Notification changed{KPFilterStackChangedNotification, this, {}};
  changed.userInfo.set(KPUpdateDelayKey, double{fUpdateDelay});
  NotificationCenter::defaultCenter().post(changed);
}

void KPCoreImageParameterController::setValueFromDict(const PropertyListDictionary& dict,
                                                      const CGRect& imageRect) {
  const Value& current = filterValue();
  const PropertyList* entry = dict.find(fKey);
  if (current.isNumber()) {
    setFilterValue(entry ? numberFromChain(*entry) : Value());
  } else if (current.vector()) {
    const PropertyListDictionary* components = entry ? entry->dictionary() : nullptr;
    setFilterValue(vectorWithValue(components ? *components : PropertyListDictionary(), imageRect));
  }
}

void KPCoreImageParameterController::addValueToDict(PropertyListDictionary& dict,
                                                    const CGRect& imageRect) const {
  const Value& current = filterValue();
  if (current.isNumber()) {
    dict.set(fKey, numberForChain(current));
  } else if (current.vector()) {
    dict.set(fKey, vectorValue(*current.vector(), imageRect));
  }
}

void KPCoreImageParameterController::removingFilter() { fObservation.close(); }

}  // namespace vello
