// The text form of rectangles: "{{x, y}, {w, h}}".
#pragma once

#include <string>
#include <string_view>

#include "platform/geometry.h"

namespace vello {

// Shortest digits that read back to the same doubles.
std::string NSStringFromRect(const CGRect& rect);
// Lenient: blanks are free, missing numbers and what is no number are 0.
CGRect NSRectFromString(std::string_view text);

}  // namespace vello
