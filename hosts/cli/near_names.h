// Names that somebody who mistyped one may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/attributes.h"

namespace vello::cli {

// Insertions, deletions, replacements and swaps of neighbours that turn one text into the other, letters in
// any case.
int editDistance(std::string_view a, std::string_view b);

// The few nearest of `known`, nearest first: those a typing error away, or that hold `name` as a part.
std::vector<std::string> nearNames(std::string_view name, const std::vector<std::string>& known);

// "there is no filter \"CIGausianBlur\"; near: CIGaussianBlur"
std::string unknownFilter(std::string_view name);
std::string unknownInput(const FilterAttributes& filter, std::string_view key);
std::string unknownCategory(std::string_view category);

}  // namespace vello::cli
