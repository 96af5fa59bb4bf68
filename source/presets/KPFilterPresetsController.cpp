#include "source/presets/KPFilterPresetsController.h"

#include "platform/preferences.h"

namespace vello {
namespace {

constexpr const char* kDomain = "effects";
constexpr const char* kPresetsKey = "KPImageFilterPresets";
constexpr const char* kNameKey = "KPPresetName";
constexpr const char* kStackKey = "KPFilterStack";

// nullptr for an entry that is no preset.
const std::string* nameOf(const PropertyList& preset) {
  const PropertyListDictionary* dictionary = preset.dictionary();
  const PropertyList* name = dictionary ? dictionary->find(kNameKey) : nullptr;
  return name ? name->string() : nullptr;
}

}  // namespace

PropertyListArray KPFilterPresetsController::presetsDefault() {
  Preferences& preferences = Preferences::domain(kDomain);
  preferences.synchronize();
  const PropertyList stored = preferences.value(kPresetsKey);
  return stored.array() ? *stored.array() : PropertyListArray();
}

std::vector<std::string> KPFilterPresetsController::presetNames() {
  std::vector<std::string> names;
  for (const PropertyList& preset : presetsDefault())
    if (const std::string* name = nameOf(preset)) names.push_back(*name);
  return names;
}

void KPFilterPresetsController::applyPreset(std::string_view name) {
  for (const PropertyList& preset : presetsDefault()) {
    const std::string* found = nameOf(preset);
    if (!found || *found != name) continue;
    const PropertyList* stack = preset.dictionary()->find(kStackKey);
    if (stack && stack->array()) fFilterStack.replaceStackWithDataArray(*stack->array());
    return;
  }
}

}  // namespace vello
