#include "source/core/stack/chain_value_check.h"

#include <cmath>
#include <initializer_list>

#include "platform/number_text.h"

namespace vello {
namespace {

constexpr size_t kLongestInMessage = 80;  // bytes

using Problem = std::optional<ValueProblem>;

Problem error(std::string message) { return ValueProblem{ChainSeverity::error, std::move(message)}; }

Problem checkNumber(const PropertyList& value) {
  if (!value.isNumber()) return error("a number is expected");
  if (!std::isfinite(value.number())) return ValueProblem{ChainSeverity::warning, "the number is not finite"};
  return std::nullopt;
}

// Exactly these keys, each a number.
Problem checkNumbers(const PropertyListDictionary& dictionary, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const PropertyList* entry = dictionary.find(key);
    if (!entry) return error("the entry \"" + std::string(key) + "\" is missing");
    if (Problem problem = checkNumber(*entry)) {
      problem->message = "\"" + std::string(key) + "\": " + problem->message;
      return problem;
    }
  }
  if (dictionary.size() != keys.size()) return error("there are more entries than expected");
  return std::nullopt;
}

// By the number of entries, as they are read.
Problem checkVector(const InputAttributes& input, const PropertyList& value) {
  const PropertyListDictionary* entries = value.dictionary();
  if (!entries) return error("a dictionary of \"X\", \"Y\" ... is expected");
  switch (entries->size()) {
    case 2:
      return checkNumbers(*entries, {"X", "Y"});
    case 3:
      return checkNumbers(*entries, {"X", "Y", "Z"});
    case 4:
      return checkNumbers(*entries, {"X", "Y", "W", "H"});
    default:
      break;
  }
  const CIVector* initial = input.defaultValue.vector();
  const bool tooLongForChains = initial && (initial->count() < 2 || initial->count() > 4);
  if (entries->empty() && tooLongForChains)
    return ValueProblem{ChainSeverity::warning, "a chain cannot hold this vector: it is read as zero"};
  return error("a vector has 2 to 4 entries");
}

Problem checkColor(const PropertyList& value) {
  if (!value.string()) return error("a colour text \"r g b a\" is expected");
  const std::string_view text = *value.string();
  int count = 0;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(' ', start), text.size());
    if (end > start) {
      if (++count > 4 || !parseNumber(text.substr(start, end - start)))
        return error("\"" + shortened(*value.string()) + "\" is no colour \"r g b a\"");
    }
    start = end + 1;
  }
  if (count < 3) return error("\"" + shortened(*value.string()) + "\" is no colour \"r g b a\"");
  return std::nullopt;
}

Problem checkTransform(const PropertyList& value) {
  const PropertyListDictionary* entries = value.dictionary();
  if (!entries) return error("a dictionary of \"tx\", \"ty\", \"sx\", \"sy\", \"r\", \"sk\" is expected");
  return checkNumbers(*entries, {"tx", "ty", "sx", "sy", "r", "sk"});
}

Problem checkImage(const PropertyList& value) {
  const PropertyListDictionary* entries = value.dictionary();
  if (!entries) return error("a dictionary of \"path\", \"bounds\", \"source\" is expected");
  if (entries->empty()) return std::nullopt;  // an image that came from no file
  for (const char* key : {"path", "bounds", "source"}) {
    const PropertyList* entry = entries->find(key);
    if (!entry || !entry->string()) return error("\"" + std::string(key) + "\" is missing or no text");
  }
  return std::nullopt;
}

}  // namespace

std::optional<ValueProblem> problemOfValue(ControlKind kind, const InputAttributes& input,
                                           const PropertyList& value) {
  switch (kind) {
    case ControlKind::slider:
    case ControlKind::dial:
    case ControlKind::checkbox:
      return checkNumber(value);
    case ControlKind::vector2D:
    case ControlKind::vector3D:
    case ControlKind::vector4D:
    case ControlKind::offset:
    case ControlKind::rect:
      return checkVector(input, value);
    case ControlKind::color:
      return checkColor(value);
    case ControlKind::transform:
      return checkTransform(value);
    case ControlKind::image:
      return checkImage(value);
    case ControlKind::none:
      break;
  }
  return std::nullopt;
}

std::string shortened(const std::string& text) {
  if (text.size() <= kLongestInMessage) return text;
  size_t end = kLongestInMessage;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // whole characters
  return text.substr(0, end) + "...";
}

}  // namespace vello
