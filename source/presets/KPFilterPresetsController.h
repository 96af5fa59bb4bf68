// Named snapshots of a filter stack, kept in the plug-in's own preferences and so shared by all hosts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"
#include "source/core/stack/KPFilterStack.h"

namespace vello {

class KPFilterPresetsController {
 public:
  // In stored order; entries without a name are left out.
  static std::vector<std::string> presetNames();
  // The stored list; empty when there is none.
  static PropertyListArray presetsDefault();

  explicit KPFilterPresetsController(KPFilterStack& stack) : fFilterStack(stack) {}
  // The first preset of exactly that name replaces the stack's contents; an unknown name does nothing.
  void applyPreset(std::string_view name);

 private:
  KPFilterStack& fFilterStack;
};

}  // namespace vello
