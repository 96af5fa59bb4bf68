// The text forms of the scalars an XML property list holds. Readers return nothing for text that is not
// wholly of the form; blanks around it are allowed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace vello {

// Decimal or 0x digits with an optional sign; nothing beyond 64 signed bits.
std::optional<int64_t> parseInteger(std::string_view text);
// "2001-01-01T00:00:00Z", years 0000 to 9999 of the Gregorian calendar, UTC.
std::optional<PropertyListDate> parseDate(std::string_view text);
// Whole seconds: a fraction is dropped, downwards. Nothing outside the years that can be read.
std::optional<std::string> dateText(PropertyListDate date);
// RFC 4648 base64, padded, blanks allowed anywhere.
std::optional<Data> parseBase64(std::string_view text);
std::string base64Text(const Data& data);

// The first byte at which the text is not well-formed UTF-8, or its size.
size_t validUtf8Length(std::string_view text);
// The length of the well-formed UTF-8 sequence the text begins with, 0 if none.
size_t utf8SequenceLength(std::string_view text);
// Appends a code point up to U+10FFFF that is no surrogate.
void appendUtf8(std::string& text, uint32_t codePoint);

}  // namespace vello
