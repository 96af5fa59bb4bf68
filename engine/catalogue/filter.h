// CIFilter: a named filter with key-value inputs that can be observed, and the catalogue it is looked up in.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/attributes.h"
#include "platform/connection.h"

namespace vello {

struct FilterEntry;

// Lives on one thread. The catalogue behind the static functions is safe to read from any thread.
class CIFilter {
 public:
  // nullptr when the catalogue has no such filter. All inputs are nil until setDefaults().
  static std::shared_ptr<CIFilter> filterWithName(std::string_view name);
  // Sorted by name; an empty category lists all. With or without the "CICategory" prefix.
  static std::vector<std::string> filterNamesInCategory(std::string_view category);
  static std::optional<std::string> localizedNameForFilterName(std::string_view name);
  // "Color Adjustment" for "CICategoryColorAdjustment"; the name itself for a category without one.
  static std::string localizedNameForCategory(std::string_view category);
  static const FilterAttributes* attributesForFilterName(std::string_view name);

  explicit CIFilter(std::shared_ptr<const FilterEntry> entry);
  const std::string& name() const { return attributes().name; }
  const FilterAttributes& attributes() const;
  std::vector<std::string> inputKeys() const;
  // Every input that has a default gets it; others, such as images, are left as they are.
  void setDefaults();
  // Throws KPException "NSUndefinedKeyException" for a key the filter does not have.
  const Value& valueForKey(std::string_view key) const;
  // Notifies the key's observers every time, also with an equal value.
  void setValueForKey(Value value, std::string_view key);
  [[nodiscard]] Connection observe(std::string_view key, std::function<void()> changed);
  // The recipe for the current inputs (nil ones take their defaults); a nil image when an image input it
  // needs is missing. Throws KPException when the values can yield no image at all.
  CIImage outputImage() const;

 private:
  struct Input {
    Value value;
    ObserverList<> observers;
  };
  Input& input(std::string_view key);

  std::shared_ptr<const FilterEntry> entry_;
  std::map<std::string, Input, std::less<>> inputs_;
};

}  // namespace vello
