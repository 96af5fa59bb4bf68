#include "engine/catalogue/attributes.h"

namespace vello {

const InputAttributes* FilterAttributes::input(std::string_view key) const {
  for (const InputAttributes& input : inputs)
    if (input.key == key) return &input;
  return nullptr;
}

bool FilterAttributes::isInCategory(std::string_view category) const {
  constexpr std::string_view prefix = "CICategory";
  if (category.substr(0, prefix.size()) == prefix) category.remove_prefix(prefix.size());
  for (const std::string& own : categories)
    if (own == category) return true;
  return false;
}

}  // namespace vello
