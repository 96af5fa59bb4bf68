#include "hosts/cli/json.h"

#include <cmath>

#include "platform/number_text.h"

namespace vello::cli {

std::string jsonText(std::string_view text) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string json = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\')
      (json += '\\') += c;
    else if (byte < 0x20)
      ((json += "\\u00") += kDigits[byte >> 4]) += kDigits[byte & 15];
    else
      json += c;
  }
  return json + "\"";
}

std::string jsonNumber(double number) { return std::isfinite(number) ? numberText(number) : "null"; }

std::string jsonArray(const std::vector<std::string>& values) {
  std::string json;
  for (const std::string& value : values) json += (json.empty() ? "" : ", ") + value;
  return "[" + json + "]";
}

void JsonWriter::startValue(std::string_view key) {
  if (!first_) text_ += ',';
  if (!text_.empty()) text_ += "\n" + std::string(depth_ * 2, ' ');
  if (!key.empty()) text_ += jsonText(key) + ": ";
  first_ = false;
}

void JsonWriter::begin(std::string_view key, char bracket) {
  startValue(key);
  text_ += bracket;
  ++depth_;
  first_ = true;
}

void JsonWriter::end(char bracket) {
  --depth_;
  if (!first_) text_ += "\n" + std::string(depth_ * 2, ' ');
  text_ += bracket;
  first_ = false;
}

void JsonWriter::beginArray(std::string_view key) { begin(key, '['); }

void JsonWriter::member(std::string_view key, const std::string& json) {
  startValue(key);
  text_ += json;
}

}  // namespace vello::cli
