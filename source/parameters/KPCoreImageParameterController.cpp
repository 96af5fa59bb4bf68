#include "source/parameters/KPCoreImageParameterController.h"

#include "platform/notification_center.h"
#include "source/parameters/chain_value.h"
#include "source/parameters/vector_encoding.h"
#include "source/screen/notifications.h"

namespace vello {
namespace {

constexpr const char* kNumberFormat = "#,##0.00";

}  // namespace

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

void KPCoreImageParameterController::removingFilter() {
  for (KPControl* control : fBoundControls) control->unbind();
  fObservation.close();
}

void KPCoreImageParameterController::scrollToVisibleInStack() {
  if (KPView* box = fParameterView.superview()) box->scrollRectToVisible(box->bounds());
}

std::string KPCoreImageParameterController::canvasTitle(const std::string& name) const {
  return fFilter->attributes().displayName + " " + name;
}

void KPCoreImageParameterController::initEditBoxes(std::vector<KPEditBox*> boxes) {
  for (size_t i = 0; i < boxes.size(); ++i) {
    boxes[i]->setPositiveFormat(kNumberFormat);
    if (i > 0) boxes[i - 1]->setNextKeyView(boxes[i]);
  }
  fEditBoxes = std::move(boxes);
}

void KPCoreImageParameterController::bindControl(KPControl& control, KPProperty property,
                                                 KPBindingOptions options) {
  control.bind(std::move(property), std::move(options));
  fBoundControls.push_back(&control);
}

KPProperty KPCoreImageParameterController::inputProperty() {
  return property([this] { return filterValue(); }, [this](const Value& value) { setFilterValue(value); });
}

KPProperty KPCoreImageParameterController::property(std::function<Value()> value,
                                                    std::function<void(const Value&)> setValue) {
  const auto observe = [this](std::function<void()> changed) {
    return fFilter->observe(fKey, std::move(changed));
  };
  return {std::move(value), std::move(setValue), observe, nullptr};
}

}  // namespace vello
