// A JSON text, built value by value, two blanks a level.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vello::cli {

std::string jsonText(std::string_view text);
// null for what is no finite number.
std::string jsonNumber(double number);
// On one line.
std::string jsonArray(const std::vector<std::string>& values);

// Objects and arrays of them. Every begin has its end.
class JsonWriter {
 public:
  void beginArray(std::string_view key = {});
  void endArray() { end(']'); }
  void beginObject() { begin({}, '{'); }
  void endObject() { end('}'); }
  // `json` is a value already in JSON.
  void member(std::string_view key, const std::string& json);
  const std::string& text() const { return text_; }

 private:
  void begin(std::string_view key, char bracket);
  void end(char bracket);
  void startValue(std::string_view key);

  std::string text_;
  size_t depth_ = 0;
  bool first_ = true;  // nothing stands yet in the innermost bracket
};

}  // namespace vello::cli
