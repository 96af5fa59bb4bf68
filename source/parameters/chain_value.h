// Numbers between a chain and a filter's input. They keep their kind: boolean, integer or real.
#pragma once

#include "engine/catalogue/value.h"
#include "platform/property_list.h"

namespace vello {

// Text counts as the number it begins with, 0 if it begins with none; what is neither number nor text is nil.
Value numberFromChain(const PropertyList& entry);
// Requires a number. A single-precision number is widened.
PropertyList numberForChain(const Value& number);

}  // namespace vello
