// What the catalogue says of filters, as JSON and as tables to read.
#pragma once

#include <string>
#include <vector>

#include "engine/catalogue/attributes.h"

namespace vello::cli {

using FilterList = std::vector<const FilterAttributes*>;

// An array of objects: name, displayName, categories, inputs; what an input does not have is left out.
std::string filtersAsJson(const FilterList& filters);
// One line a filter: name, display name, first category.
std::string filtersAsTable(const FilterList& filters);
// One filter with all its inputs.
std::string filterDescription(const FilterAttributes& filter);
// Columns two blanks apart, each as wide as its longest cell.
std::string alignedTable(const std::vector<std::vector<std::string>>& rows, const std::string& indent);

}  // namespace vello::cli
