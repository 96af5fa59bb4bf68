#include "platform/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/ascii.h"

namespace vello {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The exponent behind "e", kept within an int.
long long exponentValue(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  int value = 0;
  const auto error = std::from_chars(text.data(), text.data() + text.size(), value).ec;
  if (error != std::errc::result_out_of_range) return value;
  return text.starts_with('-') ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
}

// What a decimal number that no double holds rounds to. from_chars does not say on which side it left the
// range; the place of its first digit does.
double outOfRangeValue(std::string_view digits) {
  const size_t mantissaLength = std::min(digits.find_first_of("eE"), digits.size());
  const std::string_view mantissa = digits.substr(0, mantissaLength);
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  const size_t firstDigit = mantissa.find_first_of("123456789");
  if (firstDigit == std::string_view::npos) return 0;
  const long long place = static_cast<long long>(point) - static_cast<long long>(firstDigit);
  const long long exponent =
      mantissaLength < digits.size() ? exponentValue(digits.substr(mantissaLength + 1)) : 0;
  return place + exponent > 0 ? kInfinity : 0;
}

struct Prefix {
  double value = 0;
  size_t length = 0;  // 0: the text does not begin with a number
};

// Unsigned, decimal.
Prefix decimalPrefix(std::string_view text) {
  if (text.empty() || !(isAsciiDigit(text.front()) || text.front() == '.')) return {};
  Prefix prefix;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), prefix.value);
  if (error == std::errc::invalid_argument) return {};
  prefix.length = static_cast<size_t>(end - text.data());
  if (error == std::errc::result_out_of_range) prefix.value = outOfRangeValue(text.substr(0, prefix.length));
  return prefix;
}

// Takes a sign off the front; true when it was a minus.
bool takeSign(std::string_view& text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

std::optional<double> hexadecimal(std::string_view digits) {
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return static_cast<double>(value);
}

std::optional<double> unsignedNumber(std::string_view text) {
  if (equalIgnoringCase(text, "nan")) return std::numeric_limits<double>::quiet_NaN();
  if (equalIgnoringCase(text, "inf") || equalIgnoringCase(text, "infinity")) return kInfinity;
  if (text.starts_with("0x") || text.starts_with("0X")) return hexadecimal(text.substr(2));
  const Prefix prefix = decimalPrefix(text);
  if (prefix.length == 0 || prefix.length != text.size()) return std::nullopt;
  return prefix.value;
}

}  // namespace

std::string numberText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

std::optional<double> parseNumber(std::string_view text) {
  text = trimBlanks(text);
  const bool negative = takeSign(text);
  const std::optional<double> value = unsignedNumber(text);
  return value && negative ? -*value : value;
}

double leadingNumber(std::string_view text) {
  if (const std::optional<double> whole = parseNumber(text)) return *whole;
  text = trimBlanks(text);
  const bool negative = takeSign(text);
  const double value = decimalPrefix(text).value;
  return negative ? -value : value;
}

}  // namespace vello
