// Numbers as the user reads and types them. Shown with a point for the decimals and a comma between groups of
// three digits, whatever the language; typed with either.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vello {

// By a pattern like "#,##0.00": what stands before it stays, "," asks for groups, and the places behind the
// point say how many decimals are shown. Halves go to the even digit. A number below zero takes the negative
// pattern; where that is empty, a minus before the positive one. Without a positive pattern the shortest
// digits.
std::string formattedNumber(double value, std::string_view positiveFormat, std::string_view negativeFormat);

// Both "12.5" and "12,5" are twelve and a half. Where both signs occur the later one is the decimal one; one
// that occurs more than once only groups; and a lone comma groups where formattedNumber() would put one:
// "1,234" is what is shown for a thousand, "0,234" and "1,23" are not. Blanks may group, too. Nothing for
// what is no number.
std::optional<double> typedNumber(std::string_view text);

}  // namespace vello
