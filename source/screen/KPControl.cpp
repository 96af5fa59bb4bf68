#include "source/screen/KPControl.h"

namespace vello {

void KPControl::setValue(Value value) {
  fValue = std::move(value);
  changed();
}

void KPControl::setEnabled(bool enabled) {
  fEnabled = enabled;
  changed();
}

void KPControl::setToolTip(std::string toolTip) {
  fToolTip = std::move(toolTip);
  changed();
}

void KPControl::bind(KPProperty property, KPBindingOptions options) {
  fBinding.bind(std::move(property), std::move(options), [this](const Value& value) { setValue(value); });
}

void KPControl::userSetValue(const Value& value) {
  if (!fEnabled) return;
  if (!fBinding.isBound()) {
    setValue(value);
  } else if (!fBinding.write(value)) {
    fBinding.refresh();
  }
  performAction();
}

void KPControl::performAction() {
  if (const auto action = fAction) action();
}

}  // namespace vello
