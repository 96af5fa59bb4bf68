// The base of all parameter controllers. A controller belongs to one input of one filter: it keeps its
// controls in step with that input, announces every change of it and carries its value to and from the chain.
// The filter's value is the only one: controls are bound to it. Owned by its filter box; lives on the box's
// thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/filter.h"
#include "platform/property_list.h"
#include "source/geometry/KPGeometryParameterView.h"
#include "source/screen/controls.h"

namespace vello {

class KPCoreImageParameterController : public KPParameterViewOwner {
 public:
  // Observes the input from now on. `updateDelay`: seconds the preview waits after a change. Use the concrete
  // classes' controllerForFilter(), which also runs the set-up.
  KPCoreImageParameterController(std::shared_ptr<CIFilter> filter, std::string parameter, float updateDelay);
  virtual ~KPCoreImageParameterController() = default;
  KPCoreImageParameterController(const KPCoreImageParameterController&) = delete;
  KPCoreImageParameterController& operator=(const KPCoreImageParameterController&) = delete;

  const std::string& key() const { return fKey; }
  // Where the controls lie in the filter's box.
  KPView& parameterView() { return fParameterView; }
  // In the order of the keyboard's focus; nullptr for a control without edit boxes.
  KPEditBox* firstEditBox() const { return fEditBoxes.empty() ? nullptr : fEditBoxes.front(); }
  KPEditBox* lastEditBox() const { return fEditBoxes.empty() ? nullptr : fEditBoxes.back(); }
  void scrollToVisibleInStack() override;

  // Sets the input from a filter's chain dictionary. `imageRect` is the picture that vectors are relative to.
  virtual void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect);
  // Writes the input into a filter's chain dictionary; a value without a chain form writes nothing.
  virtual void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const;
  // Called after the filter got its defaults back, for what the filter's values do not hold.
  virtual void reset() {}
  // The filter leaves the stack: from now on the controls are unbound and the controller is silent. Must be
  // called before it is destroyed.
  virtual void removingFilter();

 protected:
  // Seconds. The long one is for controls that send a stream of values while the mouse is down.
  static constexpr float kSlowUpdateDelay = 1.0f / 3.0f;
  static constexpr float kFastUpdateDelay = 1.0f / 12.0f;

  // Constructs, then sets up: the set-up calls operations that subclasses override.
  template <class Controller, class... Arguments>
  static std::unique_ptr<Controller> create(Arguments&&... arguments) {
    auto controller = std::make_unique<Controller>(std::forward<Arguments>(arguments)...);
    static_cast<KPCoreImageParameterController&>(*controller).initControls();
    return controller;
  }
  virtual void initControls() {}
  // The observed input changed, whoever changed it.
  virtual void observeValueForKeyPath(std::string_view keyPath);

  const InputAttributes& inputAttributes() const { return *fFilter->attributes().input(fKey); }
  std::string labelText() const { return inputAttributes().displayName + ":"; }
  // Of a handle on the canvas: it says which filter it belongs to.
  std::string canvasTitle() const { return canvasTitle(inputAttributes().displayName); }
  std::string canvasTitle(const std::string& name) const;

  // Gives the boxes the number format and the focus order.
  void initEditBoxes(std::vector<KPEditBox*> boxes);
  // Until removingFilter().
  void bindControl(KPControl& control, KPProperty property, KPBindingOptions options = {});
  // The filter's input itself.
  KPProperty inputProperty();
  // Something this controller makes of the input; `setValue` writes the input.
  KPProperty property(std::function<Value()> value, std::function<void(const Value&)> setValue);
  // A number of the controller's.
  template <class C>
  KPProperty numberProperty(float (C::*value)() const, void (C::*setValue)(float)) {
    auto* self = static_cast<C*>(this);
    return property([self, value] { return Value((self->*value)()); },
                    [self, setValue](const Value& v) { (self->*setValue)(v.floatValue()); });
  }
  template <class C>
  void bindNumber(KPControl& control, float (C::*value)() const, void (C::*setValue)(float)) {
    bindControl(control, numberProperty(value, setValue));
  }
  // What the user enters goes through `validate` first.
  template <class C, class V>
  void bindNumber(KPControl& control, float (C::*value)() const, void (C::*setValue)(float),
                  Value (V::*validate)(float) const) {
    KPProperty number = numberProperty(value, setValue);
    number.validate = [self = static_cast<const C*>(this), validate](const Value& v) {
      return (self->*validate)(v.floatValue());
    };
    bindControl(control, std::move(number), {true, nullptr});
  }

  const Value& filterValue() const { return fFilter->valueForKey(fKey); }
  void setFilterValue(Value value) { fFilter->setValueForKey(std::move(value), fKey); }
  // A further observation of the input, for classes that need more than one.
  [[nodiscard]] Connection observeFilter();

  std::shared_ptr<CIFilter> fFilter;
  std::string fKey;
  float fUpdateDelay;
  int32_t kMaxFractionalDigits = 3;  // of values that are rounded in decimal

 private:
  KPView fParameterView;
  std::vector<KPEditBox*> fEditBoxes;
  std::vector<KPControl*> fBoundControls;
  Connection fObservation;
};

}  // namespace vello
