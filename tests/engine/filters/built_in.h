// The catalogue's own filters, for tests that run over all of them.
#pragma once

#include <string>
#include <vector>

#include "engine/catalogue/filter.h"

namespace vello::testing {

// Without those that other tests add.
inline std::vector<std::string> builtInFilters() {
  std::vector<std::string> names;
  for (const std::string& name : CIFilter::filterNamesInCategory("BuiltIn"))
    if (name.rfind("CI", 0) == 0) names.push_back(name);
  return names;
}

}  // namespace vello::testing
