#include "platform/property_list_scalars.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/ascii.h"

namespace vello {
namespace {

using Days = std::chrono::sys_days;
constexpr Days kEpoch{std::chrono::year{2001} / 1 / 1};
constexpr double kSecondsPerDay = 86400;
constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The number of `count` decimal digits at `place`, -1 when one of them is none.
int digitsAt(std::string_view text, size_t place, size_t count) {
  int value = 0;
  for (const char c : text.substr(place, count)) {
    if (!isAsciiDigit(c)) return -1;
    value = value * 10 + (c - '0');
  }
  return value;
}

constexpr std::array<int8_t, 256> base64Values() {
  std::array<int8_t, 256> values{};
  for (int8_t& value : values) value = -1;
  for (size_t i = 0; i < kBase64Digits.size(); ++i) {
    values[static_cast<unsigned char>(kBase64Digits[i])] = static_cast<int8_t>(i);
  }
  return values;
}

// Well-formed UTF-8 (RFC 3629): how many bytes follow the first, and the least code point of that length.
struct Utf8Lead {
  size_t following = 0;
  uint32_t bits = 0, least = 0;
};
std::optional<Utf8Lead> utf8Lead(unsigned char c) {
  if (c < 0x80) return Utf8Lead{0, c, 0};
  if ((c & 0xE0) == 0xC0) return Utf8Lead{1, c & 0x1Fu, 0x80};
  if ((c & 0xF0) == 0xE0) return Utf8Lead{2, c & 0x0Fu, 0x800};
  if ((c & 0xF8) == 0xF0) return Utf8Lead{3, c & 0x07u, 0x10000};
  return std::nullopt;
}

}  // namespace

std::optional<int64_t> parseInteger(std::string_view text) {
  text = trimBlanks(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  uint64_t magnitude = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), magnitude, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (magnitude > uint64_t{INT64_MAX} + (negative ? 1 : 0)) return std::nullopt;
  return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

std::optional<PropertyListDate> parseDate(std::string_view text) {
  text = trimBlanks(text);
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != kForm.size()) return std::nullopt;
  for (size_t i = 0; i < text.size(); ++i) {
    if (kForm[i] == 'd' ? !isAsciiDigit(text[i]) : text[i] != kForm[i]) return std::nullopt;
  }
  const std::chrono::year_month_day day{std::chrono::year{digitsAt(text, 0, 4)},
                                        std::chrono::month{static_cast<unsigned>(digitsAt(text, 5, 2))},
                                        std::chrono::day{static_cast<unsigned>(digitsAt(text, 8, 2))}};
  const int hour = digitsAt(text, 11, 2), minute = digitsAt(text, 14, 2), second = digitsAt(text, 17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const double days = static_cast<double>((Days{day} - kEpoch).count());
  return PropertyListDate{days * kSecondsPerDay + hour * 3600 + minute * 60 + second};
}

std::optional<std::string> dateText(PropertyListDate date) {
  const double seconds = std::floor(date.seconds);
  const double days = std::floor(seconds / kSecondsPerDay);
  if (!(std::abs(days) < 1e6)) return std::nullopt;  // also what is not a number
  const std::chrono::year_month_day day{kEpoch + std::chrono::days{static_cast<int>(days)}};
  const int year = static_cast<int>(day.year());
  if (year < 0 || year > 9999) return std::nullopt;
  const int second = static_cast<int>(seconds - days * kSecondsPerDay);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", year, static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), second / 3600, second / 60 % 60, second % 60);
  return text;
}

std::optional<Data> parseBase64(std::string_view text) {
  static constexpr std::array<int8_t, 256> kValues = base64Values();
  std::vector<uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  uint32_t group = 0;
  int digits = 0, padding = 0;
  for (const char c : text) {
    if (isAsciiBlank(c)) continue;
    const int value = c == '=' ? 0 : kValues[static_cast<unsigned char>(c)];
    if (value < 0 || (padding > 0 && c != '=')) return std::nullopt;
    padding += c == '=';
    if (padding > 2 || (c == '=' && digits < 2)) return std::nullopt;
    group = group << 6 | static_cast<uint32_t>(value);
    if (++digits < 4) continue;
    for (int shift = 16; shift >= 8 * padding; shift -= 8)
      bytes.push_back(static_cast<uint8_t>(group >> shift));
    digits = 0;
  }
  if (digits != 0) return std::nullopt;
  return Data(std::move(bytes));
}

std::string base64Text(const Data& data) {
  std::string text;
  text.reserve((data.size() + 2) / 3 * 4);
  for (size_t i = 0; i < data.size(); i += 3) {
    const size_t count = std::min<size_t>(3, data.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? data.data()[i + k] : 0u);
    for (size_t k = 0; k < 4; ++k) text += k <= count ? kBase64Digits[group >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::optional<Utf8Lead> lead = utf8Lead(static_cast<unsigned char>(text[0]));
  if (!lead || text.size() <= lead->following) return 0;
  uint32_t codePoint = lead->bits;
  for (size_t i = 1; i <= lead->following; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if ((c & 0xC0) != 0x80) return 0;
    codePoint = codePoint << 6 | (c & 0x3Fu);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return codePoint < lead->least || codePoint > 0x10FFFF || surrogate ? 0 : lead->following + 1;
}

size_t validUtf8Length(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const size_t length = utf8SequenceLength(text.substr(i));
    if (length == 0) break;
    i += length;
  }
  return i;
}

void appendUtf8(std::string& text, uint32_t codePoint) {
  const auto following = [&](int shift) { text += static_cast<char>(0x80 | (codePoint >> shift & 0x3F)); };
  if (codePoint < 0x80) {
    text += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    text += static_cast<char>(0xC0 | codePoint >> 6);
    following(0);
  } else if (codePoint < 0x10000) {
    text += static_cast<char>(0xE0 | codePoint >> 12);
    following(6), following(0);
  } else {
    text += static_cast<char>(0xF0 | codePoint >> 18);
    following(12), following(6), following(0);
  }
}

}  // namespace vello
