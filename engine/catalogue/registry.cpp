#include "engine/catalogue/registry.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <sstream>

#include "engine/filters/families.h"

namespace vello {
namespace {

Value number(const InputDef& input, double v) {
  const std::string_view type = input.type;
  if (type == "Boolean") return v != 0;
  if (type == "Integer" || type == "Count") return static_cast<int64_t>(v);
  return v;
}

Value valueOf(const InputDef& input, const double* v, int count) {
  if (count == 0) return {};
  switch (input.inputClass) {
    case InputClass::number:
      return number(input, v[0]);
    case InputClass::vector:
      return CIVector(std::vector<double>(v, v + count));
    case InputClass::color:
      return CIColor(v[0], v[1], v[2], v[3]);
    case InputClass::transform:
      return CGAffineTransform{v[0], v[1], v[2], v[3], v[4], v[5]};
    default:
      return {};
  }
}

const char* className(InputClass c) {
  switch (c) {
    case InputClass::number:
      return "NSNumber";
    case InputClass::vector:
      return "CIVector";
    case InputClass::color:
      return "CIColor";
    case InputClass::image:
      return "CIImage";
    case InputClass::transform:
      return "NSAffineTransform";
    case InputClass::text:
      return "NSString";
    case InputClass::data:
      return "NSData";
    case InputClass::object:
      return "NSObject";
  }
  return "";
}

std::optional<double> present(double v) {
  if (v != v) return std::nullopt;
  return v;
}

InputAttributes attributesOf(const InputDef& input) {
  return {input.key,
          input.displayName,
          className(input.inputClass),
          input.type,
          valueOf(input, input.initial, input.count),
          valueOf(input, input.identity, input.identityCount),
          present(input.range.low),
          present(input.range.high),
          present(input.slider.low),
          present(input.slider.high)};
}

std::shared_ptr<const FilterEntry> entryOf(const FilterDef& row) {
  auto entry = std::make_shared<FilterEntry>();
  entry->row = &row;
  entry->attributes.name = row.name;
  entry->attributes.displayName = row.displayName;
  entry->attributes.stepped = row.stepped;
  std::istringstream words(row.categories);
  for (std::string word; words >> word;) entry->attributes.categories.push_back(word);
  for (const InputDef& input : row.inputs) entry->attributes.inputs.push_back(attributesOf(input));
  return entry;
}

class Registry {
 public:
  static Registry& shared() {
    static Registry registry;
    return registry;
  }
  std::shared_ptr<const FilterEntry> find(std::string_view name) const {
    std::shared_lock lock(mutex_);
    const auto found = entries_.find(name);
    return found == entries_.end() ? nullptr : found->second;
  }
  std::vector<std::shared_ptr<const FilterEntry>> all() const {
    std::shared_lock lock(mutex_);
    std::vector<std::shared_ptr<const FilterEntry>> list;
    for (const auto& [name, entry] : entries_) list.push_back(entry);
    return list;
  }
  bool add(const FilterDef& row) {
    std::unique_lock lock(mutex_);
    return entries_.emplace(row.name, entryOf(row)).second;
  }

 private:
  Registry() {
    for (const FilterFamily& family : filterFamilies())
      for (const FilterDef& row : family.filters) entries_.emplace(row.name, entryOf(row));
  }
  mutable std::shared_mutex mutex_;
  std::map<std::string, std::shared_ptr<const FilterEntry>, std::less<>> entries_;
};

}  // namespace

std::shared_ptr<const FilterEntry> findFilter(std::string_view name) { return Registry::shared().find(name); }

std::vector<std::shared_ptr<const FilterEntry>> allFilters() { return Registry::shared().all(); }

bool registerFilter(const FilterDef& row) { return Registry::shared().add(row); }

bool acceptsValue(const InputAttributes& input, const Value& value) {
  if (value.isNil()) return true;
  if (input.className == "NSNumber") return value.isNumber();
  if (input.className == "CIVector") return value.vector();
  if (input.className == "CIColor") return value.color();
  if (input.className == "CIImage") return value.image();
  if (input.className == "NSAffineTransform") return value.transform();
  if (input.className == "NSString" || input.className == "NSAttributedString") return value.string();
  if (input.className == "NSData") return value.data();
  return true;
}

}  // namespace vello
