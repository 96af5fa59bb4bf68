#include "hosts/cli/value_text.h"

#include <cmath>
#include <limits>

#include "hosts/cli/files.h"
#include "platform/number_text.h"

namespace vello::cli {
namespace {

// A table of 64 x 64 x 64 colours in floats takes 4 MB.
constexpr size_t kMostDataBytes = size_t{256} << 20;

ParsedValue refused(std::string error) { return {{}, std::move(error)}; }

ParsedValue notAsExpected(const InputAttributes& input, std::string_view text) {
  return refused("\"" + std::string(text) + "\" is not " + expectedForm(input));
}

std::optional<bool> parseBoolean(std::string_view text) {
  if (text == "1" || text == "true" || text == "yes") return true;
  if (text == "0" || text == "false" || text == "no") return false;
  return std::nullopt;
}

bool isWhole(double number) {
  return std::nearbyint(number) == number && std::abs(number) <= std::numeric_limits<int32_t>::max();
}

ParsedValue parseNumberValue(const InputAttributes& input, std::string_view text) {
  if (input.type == "Boolean") {
    const std::optional<bool> flag = parseBoolean(text);
    return flag ? ParsedValue{*flag, ""} : notAsExpected(input, text);
  }
  const std::optional<double> number = parseNumber(text);
  if (!number) return notAsExpected(input, text);
  if (input.type != "Integer" && input.type != "Count") return {*number, ""};
  return isWhole(*number) ? ParsedValue{static_cast<int64_t>(*number), ""} : notAsExpected(input, text);
}

// 0 when a vector of any length will do.
size_t vectorLength(const InputAttributes& input) {
  if (const CIVector* initial = input.defaultValue.vector()) return static_cast<size_t>(initial->count());
  if (input.type == "Position" || input.type == "Offset") return 2;
  if (input.type == "Position3") return 3;
  return input.type == "Rectangle" ? 4 : 0;
}

ParsedValue parseVector(const InputAttributes& input, std::string_view text) {
  auto numbers = parseNumbers(text);
  const size_t length = vectorLength(input);
  if (!numbers || (length != 0 && numbers->size() != length)) return notAsExpected(input, text);
  return {CIVector(std::move(*numbers)), ""};
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// "rrggbb" or "rrggbbaa"
std::optional<std::vector<double>> parseHexColor(std::string_view digits) {
  if (digits.size() != 6 && digits.size() != 8) return std::nullopt;
  std::vector<double> components;
  for (size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexDigit(digits[i]), low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    components.push_back((high * 16 + low) / 255.0);
  }
  return components;
}

ParsedValue parseColor(const InputAttributes& input, std::string_view text) {
  const bool hex = !text.empty() && text.front() == '#';
  const auto c = hex ? parseHexColor(text.substr(1)) : parseNumbers(text);
  if (!c || (c->size() != 3 && c->size() != 4)) return notAsExpected(input, text);
  return {CIColor((*c)[0], (*c)[1], (*c)[2], c->size() == 4 ? (*c)[3] : 1), ""};
}

ParsedValue parseTransform(const InputAttributes& input, std::string_view text) {
  const auto n = parseNumbers(text);
  if (!n || n->size() != 6) return notAsExpected(input, text);
  return {CGAffineTransform{(*n)[0], (*n)[1], (*n)[2], (*n)[3], (*n)[4], (*n)[5]}, ""};
}

ParsedValue parseData(std::string_view text) {
  if (text.empty() || text.front() != '@') return {Data::fromText(text), ""};
  FileContents file = readFile(std::string(text.substr(1)), kMostDataBytes);
  return file.ok() ? ParsedValue{Data(std::move(file.bytes)), ""} : refused(file.error);
}

std::string numbersText(const std::vector<double>& numbers) {
  std::string text;
  for (const double number : numbers) text += (text.empty() ? "" : ",") + numberText(number);
  return text;
}

}  // namespace

std::optional<std::vector<double>> parseNumbers(std::string_view text) {
  std::vector<double> numbers;
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(',', start), text.size());
    const std::optional<double> number = parseNumber(text.substr(start, end - start));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    start = end + 1;
  }
  return numbers;
}

std::string expectedForm(const InputAttributes& input) {
  if (input.className == "NSNumber") {
    if (input.type == "Boolean") return "0 or 1";
    return input.type == "Integer" || input.type == "Count" ? "a whole number" : "a number";
  }
  if (input.className == "CIVector") {
    constexpr const char* kForms[] = {"numbers x,y,...", "a number", "x,y", "x,y,z", "x,y,z,w"};
    const size_t length = vectorLength(input);
    if (input.type == "Rectangle") return "a rectangle x,y,width,height";
    return length < std::size(kForms) ? kForms[length] : std::to_string(length) + " numbers x,y,...";
  }
  if (input.className == "CIColor") return "a colour r,g,b[,a] or #rrggbb[aa]";
  if (input.className == "NSAffineTransform") return "a transform a,b,c,d,tx,ty";
  if (input.className == "CIImage") return "a picture @file";
  return input.className == "NSData" ? "raw bytes @file, or text" : "text";
}

ParsedValue parseValue(const InputAttributes& input, std::string_view text) {
  if (input.className == "NSNumber") return parseNumberValue(input, text);
  if (input.className == "CIVector") return parseVector(input, text);
  if (input.className == "CIColor") return parseColor(input, text);
  if (input.className == "NSAffineTransform") return parseTransform(input, text);
  if (input.className == "NSData") return parseData(text);
  return {std::string(text), ""};
}

std::vector<double> numbersOf(const Value& value) {
  if (value.isNumber()) return {value.number()};
  if (const CIVector* v = value.vector()) return v->values();
  if (const CIColor* c = value.color()) return {c->red(), c->green(), c->blue(), c->alpha()};
  if (const CGAffineTransform* t = value.transform()) return {t->a, t->b, t->c, t->d, t->tx, t->ty};
  return {};
}

std::string valueText(const Value& value) {
  return value.string() ? *value.string() : numbersText(numbersOf(value));
}

}  // namespace vello::cli
