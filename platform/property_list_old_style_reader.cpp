#include <array>
#include <optional>

#include "platform/ascii.h"
#include "platform/property_list_readers.h"
#include "platform/property_list_scalars.h"

namespace vello {
namespace {

bool isBareCharacter(char c) {
  return isAsciiLetter(c) || isAsciiDigit(c) ||
         (c != '\0' && std::string_view("_$/:.-").find(c) != std::string_view::npos);
}

// The characters of the NEXTSTEP encoding from 0x80 on, which an octal escape names (Unicode's mapping table
// VENDORS/NEXT/NEXTSTEP.TXT).
constexpr std::array<uint16_t, 128> kNextStep = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD};

// Recursive descent, no deeper than the depth limit. Each function leaves `rest_` behind what it read.
class OldStyleReader {
 public:
  OldStyleReader(std::string_view text, const PropertyListLimits& limits)
      : text_(text), rest_(text), limits_(limits) {}
  PropertyListResult read();

 private:
  std::optional<PropertyList> value(int depth);
  std::optional<PropertyList> array(int depth);
  std::optional<PropertyList> dictionary(int depth);
  std::optional<PropertyList> data();
  // Members up to a closing brace, or up to the end of the text.
  std::optional<PropertyListDictionary> members(int depth);
  bool member(std::vector<PropertyListMember>& members, int depth);
  std::optional<std::string> string();
  std::optional<std::string> quoted(char quote);
  bool escape(std::string& to);
  bool unicodeEscape(std::string& to);
  uint32_t octalDigits();
  std::optional<uint32_t> fourHexDigits();

  void skipBlanks();
  bool skipComment();
  bool take(char c);
  char next() const { return rest_.empty() ? '\0' : rest_.front(); }
  std::nullopt_t fail(const std::string& why);
  bool count();

  std::string_view text_, rest_;
  const PropertyListLimits& limits_;
  std::string error_;
  size_t values_ = 0;
};

std::nullopt_t OldStyleReader::fail(const std::string& why) {
  if (!error_.empty()) return std::nullopt;
  size_t line = 1;
  for (const char c : text_.substr(0, text_.size() - rest_.size())) line += c == '\n';
  error_ = "line " + std::to_string(line) + ": " + why;
  return std::nullopt;
}

bool OldStyleReader::count() {
  if (++values_ <= limits_.values) return true;
  fail("more than " + std::to_string(limits_.values) + " values");
  return false;
}

bool OldStyleReader::skipComment() {
  if (rest_.starts_with("//")) {
    rest_.remove_prefix(std::min(rest_.find_first_of("\r\n"), rest_.size()));
    return true;
  }
  if (!rest_.starts_with("/*")) return false;
  const size_t end = rest_.find("*/", 2);
  if (end == std::string_view::npos) return fail("a comment without its end"), false;
  rest_.remove_prefix(end + 2);
  return true;
}

void OldStyleReader::skipBlanks() {
  do {
    while (!rest_.empty() && isAsciiBlank(rest_.front())) rest_.remove_prefix(1);
  } while (skipComment());
}

// Takes `c` if it comes next, after blanks.
bool OldStyleReader::take(char c) {
  skipBlanks();
  if (rest_.empty() || rest_.front() != c) return false;
  rest_.remove_prefix(1);
  return true;
}

std::optional<uint32_t> OldStyleReader::fourHexDigits() {
  uint32_t unit = 0;
  if (rest_.size() < 4) return std::nullopt;
  for (int i = 0; i < 4; ++i) {
    const int digit = hexDigitValue(rest_[static_cast<size_t>(i)]);
    if (digit < 0) return std::nullopt;
    unit = unit << 4 | static_cast<uint32_t>(digit);
  }
  rest_.remove_prefix(4);
  return unit;
}

// \Uxxxx is a UTF-16 code unit; a character beyond the first 65,536 is written as a pair of them.
bool OldStyleReader::unicodeEscape(std::string& to) {
  std::optional<uint32_t> unit = fourHexDigits();
  if (unit && *unit >= 0xD800 && *unit < 0xDC00 && (rest_.starts_with("\\U") || rest_.starts_with("\\u"))) {
    rest_.remove_prefix(2);
    const std::optional<uint32_t> low = fourHexDigits();
    const bool pair = low && *low >= 0xDC00 && *low < 0xE000;
    unit = pair ? std::optional(0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00)) : std::nullopt;
  }
  if (!unit || (*unit >= 0xD800 && *unit < 0xE000)) return fail("a bad \\U escape"), false;
  appendUtf8(to, *unit);
  return true;
}

uint32_t OldStyleReader::octalDigits() {
  uint32_t code = 0;
  for (int i = 0; i < 3 && next() >= '0' && next() <= '7'; ++i) {
    code = code * 8 + static_cast<uint32_t>(next() - '0');
    rest_.remove_prefix(1);
  }
  return code & 0xFF;
}

// What stands behind a backslash.
bool OldStyleReader::escape(std::string& to) {
  if (rest_.empty()) return fail("a string without its end"), false;
  const char c = next();
  if (c >= '0' && c <= '7') {
    const uint32_t code = octalDigits();
    appendUtf8(to, code < 0x80 ? code : kNextStep[code - 0x80]);
    return true;
  }
  rest_.remove_prefix(1);
  constexpr std::string_view kNames = "abfnrtv", kCharacters = "\a\b\f\n\r\t\v";
  if (c == 'U' || c == 'u') return unicodeEscape(to);
  const size_t named = kNames.find(c);
  to += named == std::string_view::npos ? c : kCharacters[named];
  return true;
}

std::optional<std::string> OldStyleReader::quoted(char quote) {
  std::string content;
  const char stops[] = {quote, '\\'};
  while (true) {
    const size_t plain = rest_.find_first_of(std::string_view(stops, 2));
    if (plain == std::string_view::npos) return fail("a string without its end");
    content.append(rest_.substr(0, plain));
    const bool atEnd = rest_[plain] == quote;
    rest_.remove_prefix(plain + 1);
    if (atEnd) return content;
    if (!escape(content)) return std::nullopt;
  }
}

std::optional<std::string> OldStyleReader::string() {
  skipBlanks();
  if (take('"')) return quoted('"');
  if (take('\'')) return quoted('\'');
  size_t length = 0;
  while (length < rest_.size() && isBareCharacter(rest_[length])) ++length;
  if (length == 0) return fail(rest_.empty() ? "the text ends too early" : "a character out of place");
  std::string word(rest_.substr(0, length));
  rest_.remove_prefix(length);
  return word;
}

std::optional<PropertyList> OldStyleReader::data() {
  std::vector<uint8_t> bytes;
  int high = -1;
  while (!take('>')) {
    const int digit = hexDigitValue(next());
    if (digit < 0) return fail("a character in data that is no hexadecimal digit");
    rest_.remove_prefix(1);
    if (high >= 0) bytes.push_back(static_cast<uint8_t>(high * 16 + digit));
    high = high >= 0 ? -1 : digit;
  }
  if (high >= 0) return fail("data with an odd number of digits");
  return Data(std::move(bytes));
}

std::optional<PropertyList> OldStyleReader::array(int depth) {
  PropertyListArray values;
  while (!take(')')) {
    std::optional<PropertyList> element = value(depth);
    if (!element) return std::nullopt;
    values.push_back(*std::move(element));
    if (take(',')) continue;
    if (!take(')')) return fail("a comma or a closing parenthesis is missing");
    break;
  }
  return values;
}

bool OldStyleReader::member(std::vector<PropertyListMember>& members, int depth) {
  std::optional<std::string> key = string();
  if (!key || !count()) return false;
  if (!take('=')) return fail("an equals sign is missing"), false;
  std::optional<PropertyList> content = value(depth);
  if (!content) return false;
  members.push_back({*std::move(key), *std::move(content)});
  if (take(';')) return true;
  skipBlanks();
  if (next() != '}') return fail("a semicolon is missing"), false;
  return true;
}

std::optional<PropertyListDictionary> OldStyleReader::members(int depth) {
  std::vector<PropertyListMember> members;
  for (skipBlanks(); !rest_.empty() && next() != '}'; skipBlanks()) {
    if (!member(members, depth)) return std::nullopt;
  }
  return PropertyListDictionary::fromMembers(std::move(members));
}

std::optional<PropertyList> OldStyleReader::dictionary(int depth) {
  std::optional<PropertyListDictionary> content = members(depth);
  if (!content) return std::nullopt;
  if (!take('}')) return fail("a closing brace is missing");
  return *std::move(content);
}

std::optional<PropertyList> OldStyleReader::value(int depth) {
  if (!count()) return std::nullopt;
  skipBlanks();
  if (take('<')) return data();
  const bool isArray = next() == '(';
  if (!isArray && next() != '{') {
    std::optional<std::string> content = string();
    return content ? std::optional<PropertyList>(*std::move(content)) : std::nullopt;
  }
  if (depth >= limits_.depth) {
    return fail("more than " + std::to_string(limits_.depth) + " containers within one another");
  }
  rest_.remove_prefix(1);
  return isArray ? array(depth + 1) : dictionary(depth + 1);
}

PropertyListResult OldStyleReader::read() {
  if (const size_t valid = validUtf8Length(text_); valid != text_.size()) {
    rest_ = text_.substr(valid);
    fail("text that is not UTF-8");
    return {{}, std::move(error_)};
  }
  if (rest_.starts_with("\xEF\xBB\xBF")) rest_.remove_prefix(3);
  skipBlanks();
  if (rest_.empty()) fail("the text is empty");
  const std::string_view start = rest_;
  std::optional<PropertyList> root = value(0);
  // A string table: the members of a dictionary without the braces around them.
  if (root && root->string() && take('=')) {
    rest_ = start;
    std::optional<PropertyListDictionary> table = members(1);
    root = table ? std::optional<PropertyList>(*std::move(table)) : std::nullopt;
  }
  skipBlanks();
  if (root && !rest_.empty()) fail("text behind the value");
  if (!error_.empty()) return {{}, std::move(error_)};
  return {*std::move(root), {}};
}

}  // namespace

PropertyListResult readOldStylePropertyList(std::string_view text, const PropertyListLimits& limits) {
  return OldStyleReader(text, limits).read();
}

}  // namespace vello
