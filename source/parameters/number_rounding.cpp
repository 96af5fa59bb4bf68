#include "source/parameters/number_rounding.h"

#include <charconv>
#include <cmath>
#include <string>

namespace vello {
namespace {

// "-12.345": the digits before and behind the point of the shortest text, without exponent.
std::string plainText(float value) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr;
  return std::string(text, end);
}

double numberIn(const std::string& text) {
  double number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Above one half in the digits that are cut off; exactly one half is not.
bool roundsAway(const std::string& cut) {
  return !cut.empty() && (cut[0] > '5' || (cut[0] == '5' && cut.size() > 1));
}

// Adds one in the last place of a text of digits, with or without a sign and a point.
void incrementLastPlace(std::string& text) {
  size_t place = text.size();
  while (place > 0) {
    char& digit = text[--place];
    if (digit == '.') continue;
    if (digit == '-') break;
    if (digit++ != '9') return;
    digit = '0';
  }
  text.insert(text[0] == '-' ? 1 : 0, "1");
}

}  // namespace

double numberWithFloat(float value, int fractionDigits) {
  if (!std::isfinite(value)) return value;
  std::string text = plainText(value);
  const size_t point = text.find('.');
  const size_t kept = point + 1 + static_cast<size_t>(fractionDigits);
  if (point == text.npos || kept >= text.size()) return numberIn(text);
  const std::string cut = text.substr(kept);
  text.resize(kept);
  if (roundsAway(cut)) incrementLastPlace(text);
  return numberIn(text);
}

}  // namespace vello
