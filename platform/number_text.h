// Numbers as text, free of any locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vello {

// Shortest digits that read back to the same double, never in exponent form unless shorter; "nan",
// "+infinity", "-infinity".
std::string numberText(double value);
// The whole text as one number: blanks around it, a leading "+", "nan", "inf", "infinity" with a sign and 0x
// integers are read.
std::optional<double> parseNumber(std::string_view text);
// The number a text begins with, 0 if it begins with none.
double leadingNumber(std::string_view text);

}  // namespace vello
