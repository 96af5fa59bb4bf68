// Tests on single ASCII characters and blanks. Unlike those of <cctype> they know no locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace vello {

constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAsciiBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
// The value of a hexadecimal digit, -1 for any other character.
constexpr int hexDigitValue(char c) {
  if (isAsciiDigit(c)) return c - '0';
  c = asciiLower(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

constexpr std::string_view trimBlanks(std::string_view text) {
  while (!text.empty() && isAsciiBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isAsciiBlank(text.back())) text.remove_suffix(1);
  return text;
}

inline bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

}  // namespace vello
