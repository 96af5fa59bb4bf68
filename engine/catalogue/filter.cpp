#include "engine/catalogue/filter.h"

#include "engine/catalogue/registry.h"
#include "engine/image/node.h"
#include "platform/exception.h"

namespace vello {
namespace {

struct CategoryName {
  const char* category;
  const char* displayName;
};

constexpr CategoryName kCategoryNames[] = {
    {"Blur", "Blur"},
    {"ColorAdjustment", "Color Adjustment"},
    {"ColorEffect", "Color Effect"},
    {"CompositeOperation", "Composite Operation"},
    {"DistortionEffect", "Distortion Effect"},
    {"Generator", "Generator"},
    {"GeometryAdjustment", "Geometry Adjustment"},
    {"Gradient", "Gradient"},
    {"HalftoneEffect", "Halftone Effect"},
    {"Reduction", "Reduction"},
    {"Sharpen", "Sharpen"},
    {"Stylize", "Stylize"},
    {"TileEffect", "Tile Effect"},
    {"Transition", "Transition"},
    {"BuiltIn", "Built-In"},
    {"HighDynamicRange", "High Dynamic Range"},
    {"Interlaced", "Interlaced"},
    {"NonSquarePixels", "Non-Square Pixels"},
    {"StillImage", "Still Image"},
    {"Video", "Video"},
};

// An image input that no filter can do without; the others may stay nil.
bool isMissing(const InputAttributes& input, const Value& value) {
  return input.className == "CIImage" && (value.isNil() || (value.image() && value.image()->isNil()));
}

}  // namespace

std::shared_ptr<CIFilter> CIFilter::filterWithName(std::string_view name) {
  auto entry = findFilter(name);
  return entry ? std::make_shared<CIFilter>(std::move(entry)) : nullptr;
}

std::vector<std::string> CIFilter::filterNamesInCategory(std::string_view category) {
  std::vector<std::string> names;
  for (const auto& entry : allFilters())
    if (category.empty() || entry->attributes.isInCategory(category)) names.push_back(entry->attributes.name);
  return names;
}

std::optional<std::string> CIFilter::localizedNameForFilterName(std::string_view name) {
  const auto entry = findFilter(name);
  if (!entry) return std::nullopt;
  return entry->attributes.displayName;
}

std::string CIFilter::localizedNameForCategory(std::string_view category) {
  for (const CategoryName& row : kCategoryNames)
    if (category == row.category || category == std::string("CICategory") + row.category)
      return row.displayName;
  return std::string(category);
}

const FilterAttributes* CIFilter::attributesForFilterName(std::string_view name) {
  const auto entry = findFilter(name);
  return entry ? &entry->attributes : nullptr;
}

CIFilter::CIFilter(std::shared_ptr<const FilterEntry> entry) : entry_(std::move(entry)) {
  for (const InputAttributes& input : attributes().inputs) inputs_[input.key];
}

const FilterAttributes& CIFilter::attributes() const { return entry_->attributes; }

std::vector<std::string> CIFilter::inputKeys() const {
  std::vector<std::string> keys;
  for (const InputAttributes& input : attributes().inputs) keys.push_back(input.key);
  return keys;
}

void CIFilter::setDefaults() {
  for (const InputAttributes& input : attributes().inputs)
    if (!input.defaultValue.isNil()) setValueForKey(input.defaultValue, input.key);
}

CIFilter::Input& CIFilter::input(std::string_view key) {
  const auto found = inputs_.find(key);
  if (found == inputs_.end())
    throw KPException(NSUndefinedKeyException, name() + " has no input \"" + std::string(key) + "\"");
  return found->second;
}

const Value& CIFilter::valueForKey(std::string_view key) const {
  return const_cast<CIFilter*>(this)->input(key).value;
}

void CIFilter::setValueForKey(Value value, std::string_view key) {
  Input& changed = input(key);
  if (!acceptsValue(*attributes().input(key), value))
    throw KPException(NSInvalidArgumentException, name() + ": the value for \"" + std::string(key) +
                                                      "\" is no " + attributes().input(key)->className);
  changed.value = std::move(value);
  changed.observers.notify();
}

Connection CIFilter::observe(std::string_view key, std::function<void()> changed) {
  return input(key).observers.add(std::move(changed));
}

CIImage CIFilter::outputImage() const {
  Values values;
  std::vector<CIImage> images;
  const FilterDef& row = *entry_->row;
  for (int i = 0; i < row.inputs.count; ++i) {
    const InputAttributes& attributes = this->attributes().inputs[i];
    const Value& own = inputs_.find(attributes.key)->second.value;
    if (isMissing(attributes, own)) return {};
    values.set(row.inputs[i].key, own.isNil() ? attributes.defaultValue : own);
    if (own.image()) images.push_back(*own.image());
  }
  if (row.maker.compose) return row.maker.compose(values);
  return applyKernel(row.maker.ops, values, std::move(images));
}

}  // namespace vello
