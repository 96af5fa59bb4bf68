// A filter chain in words.
#pragma once

#include <string>

#include "platform/property_list.h"

namespace vello::cli {

// Box after box with what the chain holds for every input; marked are inputs that a chain cannot hold,
// missing values, and keys and filters that do not exist.
std::string chainDescription(const PropertyListArray& boxes);

}  // namespace vello::cli
