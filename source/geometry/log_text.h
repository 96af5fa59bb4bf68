// Numbers as the geometry types log them.
#pragma once

#include <charconv>
#include <string>

namespace vello {

// Six decimals.
inline std::string sixDecimals(double value) {
  char text[400];  // the largest double has 309 digits before the point
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
  return {text, end};
}

}  // namespace vello
