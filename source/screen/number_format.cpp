#include "source/screen/number_format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "platform/ascii.h"
#include "platform/number_text.h"

namespace vello {
namespace {

constexpr size_t kGroup = 3;  // digits
constexpr std::string_view kPlaces = "#0,.";

struct Pattern {
  explicit Pattern(std::string_view text) {
    const size_t begin = std::min(text.find_first_of(kPlaces), text.size());
    prefix = text.substr(0, begin);
    const size_t point = std::min(text.find('.', begin), text.size());
    grouped = text.substr(begin, point - begin).find(',') != text.npos;
    decimals = static_cast<int>(text.size() - std::min(point + 1, text.size()));
  }
  std::string prefix;
  bool grouped = false;
  int decimals = 0;
};

// Requires a finite number that is not negative.
std::string digitsOf(double value, int decimals) {
  char digits[400];
  return {digits,
          std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr};
}

std::string withGroups(std::string digits) {
  size_t place = std::min(digits.find('.'), digits.size());
  while (place > kGroup) digits.insert(place -= kGroup, ",");
  return digits;
}

std::string shownBy(const Pattern& pattern, double magnitude) {
  const std::string digits = digitsOf(magnitude, pattern.decimals);
  return pattern.prefix + (pattern.grouped ? withGroups(digits) : digits);
}

// A blank, plain or one of those that do not break a line, or a minus sign, as its plain form.
std::string plainText(std::string_view text) {
  std::string plain(trimBlanks(text));
  const std::pair<std::string_view, std::string_view> signs[] = {
      {"\u00A0", " "}, {"\u202F", " "}, {"\u2212", "-"}};
  for (const auto& [sign, replacement] : signs)
    for (size_t at; (at = plain.find(sign)) != plain.npos;) plain.replace(at, sign.size(), replacement);
  return plain;
}

// "-1,234": one to three digits that do not begin with 0, the comma, three digits.
bool groupsAsShown(std::string_view text, size_t comma) {
  const size_t first = std::min(text.find_first_of("0123456789"), text.size());
  return first < comma && comma - first <= kGroup && text[first] != '0' && text.size() - comma - 1 == kGroup;
}

// Where the decimals begin; npos when there are none.
size_t decimalSign(std::string_view text) {
  const size_t last = text.find_last_of(".,");
  if (last == text.npos) return last;
  const size_t sameBefore = text.substr(0, last).find(text[last]);
  if (sameBefore != text.npos) return text.npos;
  const bool lone = text.find_first_of(".,") == last;
  return lone && text[last] == ',' && groupsAsShown(text, last) ? text.npos : last;
}

// Between a digit and exactly three.
bool separatesGroup(std::string_view text, size_t place) {
  const std::string_view behind = text.substr(place + 1);
  const size_t digits = std::min(behind.find_first_not_of("0123456789"), behind.size());
  return place > 0 && isAsciiDigit(text[place - 1]) && digits == kGroup;
}

}  // namespace

std::string formattedNumber(double value, std::string_view positiveFormat, std::string_view negativeFormat) {
  if (positiveFormat.empty() || !std::isfinite(value)) return numberText(value);
  const Pattern positive(positiveFormat);
  // What rounds to zero has no sign.
  if (value >= 0 || digitsOf(-value, positive.decimals).find_first_of("123456789") == std::string::npos)
    return shownBy(positive, std::fabs(value));
  return negativeFormat.empty() ? "-" + shownBy(positive, -value) : shownBy(Pattern(negativeFormat), -value);
}

std::optional<double> typedNumber(std::string_view typed) {
  const std::string text = plainText(typed);
  const size_t decimals = decimalSign(text);
  std::string number;
  char groupSign = 0;  // the same throughout
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = i == decimals ? '.' : text[i];
    const bool groups = i != decimals && (c == ',' || c == '.' || c == ' ');
    const bool ill = i > decimals || !separatesGroup(text, i) || (groupSign && groupSign != c);
    if (groups && ill) return std::nullopt;
    if (groups)
      groupSign = c;
    else
      number += c;
  }
  return parseNumber(number);
}

}  // namespace vello
