// The base of the control models: what a control shows, and what the user does with it. A widget shows a
// model and calls its user...() functions; tests call them as a user would act. Lives on its window's thread;
// owned by the controller it belongs to.
#pragma once

#include <functional>
#include <string>

#include "source/screen/KPBinding.h"

namespace vello {

class KPControl {
 public:
  KPControl() = default;
  virtual ~KPControl() = default;
  KPControl(const KPControl&) = delete;
  KPControl& operator=(const KPControl&) = delete;

  // What is shown. Setting it is not the user's doing: nothing is written through the binding.
  const Value& value() const { return fValue; }
  void setValue(Value value);
  bool isEnabled() const { return fEnabled; }
  void setEnabled(bool enabled);
  const std::string& toolTip() const { return fToolTip; }
  void setToolTip(std::string toolTip);
  // The control that the keyboard's focus goes to next, or nullptr. It must live as long as this one.
  KPControl* nextKeyView() const { return fNextKeyView; }
  void setNextKeyView(KPControl* next) { fNextKeyView = next; }

  void bind(KPProperty property, KPBindingOptions options = {});
  void unbind() { fBinding.unbind(); }
  bool isBound() const { return fBinding.isBound(); }
  // Called after the user changed the value or pressed the control.
  void setAction(std::function<void()> action) { fAction = std::move(action); }
  // Told whenever the control looks different; for widgets.
  [[nodiscard]] Connection observe(std::function<void()> changed) {
    return fObservers.add(std::move(changed));
  }

 protected:
  // The user's new value: written through the binding, then the action is performed. A value that is refused
  // gives way to the model's. A disabled control ignores it.
  void userSetValue(const Value& value);
  void performAction();
  void changed() { fObservers.notify(); }

 private:
  Value fValue;
  std::string fToolTip;
  std::function<void()> fAction;
  ObserverList<> fObservers;
  KPBinding fBinding;
  KPControl* fNextKeyView = nullptr;
  bool fEnabled = true;
};

}  // namespace vello
