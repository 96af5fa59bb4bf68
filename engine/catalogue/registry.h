// The catalogue: all filters by name. Built-in rows come first; image units add theirs while the program
// runs.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/attributes.h"
#include "engine/catalogue/definition.h"

namespace vello {

// One filter: its attributes, and how its images are made. Lives as long as the process.
struct FilterEntry {
  FilterAttributes attributes;
  const FilterDef* row = nullptr;
};

// Safe from any thread. The entries never go.
std::shared_ptr<const FilterEntry> findFilter(std::string_view name);
std::vector<std::shared_ptr<const FilterEntry>> allFilters();
// Adds a row that outlives the process's use of it; false when the name is taken.
bool registerFilter(const FilterDef& row);

// Whether the value may be set on an input: nil, or one of the kind the input's class says.
bool acceptsValue(const InputAttributes& input, const Value& value);

}  // namespace vello
