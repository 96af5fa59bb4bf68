// Whether an image unit's description holds together. It comes from foreign code, so nothing in it is taken
// on trust but that its pointers point to what they say.
#pragma once

#include <string>

#include "include/vello/image_unit.h"

namespace vello {

// What is wrong, with the filter and the input it is wrong of; empty when all is well.
std::string checkImageUnit(const VelloImageUnit& unit);

}  // namespace vello
