// The base of all parameter controllers. A controller belongs to one input of one filter: it announces every
// change of that input and carries its value to and from the chain. Owned by its filter box; lives on the
// box's thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "engine/catalogue/filter.h"
#include "platform/property_list.h"

namespace vello {

class KPCoreImageParameterController {
 public:
  // Observes the input from now on. `updateDelay`: seconds the preview waits after a change. Use the concrete
  // classes' controllerForFilter(), which also runs the set-up.
  KPCoreImageParameterController(std::shared_ptr<CIFilter> filter, std::string parameter, float updateDelay);
  virtual ~KPCoreImageParameterController() = default;
  KPCoreImageParameterController(const KPCoreImageParameterController&) = delete;
  KPCoreImageParameterController& operator=(const KPCoreImageParameterController&) = delete;

  const std::string& key() const { return fKey; }

  // Sets the input from a filter's chain dictionary. `imageRect` is the picture that vectors are relative to.
  virtual void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect);
  // Writes the input into a filter's chain dictionary; a value without a chain form writes nothing.
  virtual void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const;
  // Called after the filter got its defaults back, for what the filter's values do not hold.
  virtual void reset() {}
  // The filter leaves the stack: from now on the controller is silent. Must be called before it is destroyed.
  virtual void removingFilter();

 protected:
  // Seconds. The long one is for controls that send a stream of values while the mouse is down.
  static constexpr float kSlowUpdateDelay = 1.0f / 3.0f;
  static constexpr float kFastUpdateDelay = 1.0f / 12.0f;

  // Constructs, then sets up: the set-up calls operations that subclasses override.
  template <class Controller>
  static std::unique_ptr<Controller> create(std::shared_ptr<CIFilter> filter, std::string parameter) {
    auto controller = std::make_unique<Controller>(std::move(filter), std::move(parameter));
    static_cast<KPCoreImageParameterController&>(*controller).initControls();
    return controller;
  }
  virtual void initControls() {}
  // The observed input changed, whoever changed it.
  virtual void observeValueForKeyPath(std::string_view keyPath);

  const Value& filterValue() const { return fFilter->valueForKey(fKey); }
  void setFilterValue(Value value) { fFilter->setValueForKey(std::move(value), fKey); }
  // A further observation of the input, for classes that need more than one.
  [[nodiscard]] Connection observeFilter();

  std::shared_ptr<CIFilter> fFilter;
  std::string fKey;
  float fUpdateDelay;

 private:
  Connection fObservation;
};

}  // namespace vello
