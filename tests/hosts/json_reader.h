// A strict reader of JSON texts, as small as tests need it.
#pragma once

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vello::test {

struct Json {
  enum class Type { null, number, text, array, object };
  Type type = Type::null;
  double number = 0;
  std::string text;
  std::vector<Json> array;
  std::map<std::string, Json> object;
  bool has(const std::string& key) const { return object.count(key) == 1; }
  const Json& at(const std::string& key) const { return object.at(key); }
};

// Throws std::runtime_error for what is no JSON.
class JsonReader {
 public:
  static Json read(std::string_view text) {
    JsonReader reader(text);
    Json value = reader.value();
    reader.skipBlanks();
    if (reader.at_ != text.size()) reader.fail("text after the end");
    return value;
  }

 private:
  explicit JsonReader(std::string_view text) : text_(text) {}
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(what + " at " + std::to_string(at_));
  }
  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void skipBlanks() {
    while (peek() == ' ' || peek() == '\n') ++at_;
  }
  bool take(char c) {
    skipBlanks();
    if (peek() != c) return false;
    ++at_;
    return true;
  }
  void expect(char c) {
    if (!take(c)) fail(std::string("no ") + c);
  }
  Json value() {
    skipBlanks();
    if (peek() == '[') return arrayValue();
    if (peek() == '{') return objectValue();
    if (peek() == '"') return {Json::Type::text, 0, textValue(), {}, {}};
    return numberValue();
  }
  Json arrayValue() {
    Json result{Json::Type::array, 0, "", {}, {}};
    expect('[');
    if (take(']')) return result;
    do result.array.push_back(value());
    while (take(','));
    expect(']');
    return result;
  }
  Json objectValue() {
    Json result{Json::Type::object, 0, "", {}, {}};
    expect('{');
    if (take('}')) return result;
    do {
      skipBlanks();
      const std::string key = textValue();
      expect(':');
      if (!result.object.emplace(key, value()).second) fail("key twice");
    } while (take(','));
    expect('}');
    return result;
  }
  std::string textValue() {
    std::string result;
    if (peek() != '"') fail("no text");
    for (++at_; peek() != '"'; ++at_) {
      if (static_cast<unsigned char>(peek()) < 0x20) fail("bare control character");
      if (peek() == '\\') ++at_;
      result += peek();
    }
    ++at_;
    return result;
  }
  Json numberValue() {
    const std::string rest(text_.substr(at_, 40));
    char* end = nullptr;
    const double number = std::strtod(rest.c_str(), &end);
    if (end == rest.c_str()) fail("no value");
    at_ += static_cast<size_t>(end - rest.c_str());
    return {Json::Type::number, number, "", {}, {}};
  }

  std::string_view text_;
  size_t at_ = 0;
};

}  // namespace vello::test
