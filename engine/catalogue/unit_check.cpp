#include "engine/catalogue/unit_check.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string_view>

namespace vello {
namespace {

constexpr size_t kLongestName = 100;

bool isWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool isWord(const char* text) {
  const std::string_view word = text ? text : "";
  return !word.empty() && word.size() <= kLongestName &&
         std::all_of(word.begin(), word.end(), isWordCharacter);
}

bool isText(const char* text) { return text && *text && std::strlen(text) <= kLongestName; }

bool isWordList(const char* text) {
  return isText(text) &&
         std::all_of(text, text + std::strlen(text), [](char c) { return isWordCharacter(c) || c == ' '; });
}

struct TypeRow {
  int32_t inputClass;
  const char* type;
  int least, most;  // components
};

constexpr TypeRow kTypes[] = {
    {VELLO_UNIT_NUMBER, "Scalar", 1, 1},    {VELLO_UNIT_NUMBER, "Distance", 1, 1},
    {VELLO_UNIT_NUMBER, "Angle", 1, 1},     {VELLO_UNIT_NUMBER, "Time", 1, 1},
    {VELLO_UNIT_NUMBER, "Boolean", 1, 1},   {VELLO_UNIT_NUMBER, "Integer", 1, 1},
    {VELLO_UNIT_NUMBER, "Count", 1, 1},     {VELLO_UNIT_VECTOR, "Position", 2, 2},
    {VELLO_UNIT_VECTOR, "Offset", 2, 2},    {VELLO_UNIT_VECTOR, "Position3", 3, 3},
    {VELLO_UNIT_VECTOR, "Rectangle", 4, 4}, {VELLO_UNIT_VECTOR, "", 2, 4},
    {VELLO_UNIT_COLOR, "Color", 4, 4},      {VELLO_UNIT_COLOR, "OpaqueColor", 4, 4},
};

const TypeRow* typeOf(const VelloUnitInput& input) {
  for (const TypeRow& row : kTypes)
    if (input.type && row.inputClass == input.input_class && std::strcmp(row.type, input.type) == 0)
      return &row;
  return nullptr;
}

// Both missing, or in order.
bool isRange(double low, double high) { return !(low > high) && !std::isinf(low) && !std::isinf(high); }

std::string checkNumber(const VelloUnitInput& input) {
  if (!isRange(input.minimum, input.maximum)) return "its least value is above its greatest";
  if (!isRange(input.slider_minimum, input.slider_maximum)) return "its slider's ends are in the wrong order";
  if (input.initial[0] < input.minimum || input.initial[0] > input.maximum)
    return "its default is out of range";
  return "";
}

std::string checkInput(const VelloUnitInput& input) {
  if (std::strncmp(input.key, "input", 5) != 0 || !input.key[5])
    return "its key does not begin with \"input\"";
  if (std::strcmp(input.key, "inputImage") == 0) return "the image input comes by itself";
  if (!isText(input.display_name)) return "it has no display name";
  const TypeRow* type = typeOf(input);
  if (!type) return "its class has no type \"" + std::string(input.type ? input.type : "") + "\"";
  if (input.count < type->least || input.count > type->most)
    return "its default has the wrong number of components";
  for (int i = 0; i < input.count; ++i)
    if (!std::isfinite(input.initial[i])) return "its default is no number";
  return input.input_class == VELLO_UNIT_NUMBER ? checkNumber(input) : "";
}

std::string checkInputs(const VelloUnitFilter& filter) {
  if (filter.input_count < 0 || filter.input_count > VELLO_UNIT_INPUTS) return "too many inputs";
  if (filter.input_count > 0 && !filter.inputs) return "no inputs";
  std::set<std::string> keys;
  bool anchored = !filter.anchor;
  for (int i = 0; i < filter.input_count; ++i) {
    const VelloUnitInput& input = filter.inputs[i];
    if (!isWord(input.key)) return "input " + std::to_string(i) + ": its key is no word";
    const std::string error = keys.insert(input.key).second ? checkInput(input) : "its key is taken";
    if (!error.empty()) return std::string(input.key) + ": " + error;
    anchored |= filter.anchor && input.type == std::string_view("Position") &&
                input.key == std::string_view(filter.anchor);
  }
  return anchored ? "" : "its anchor is no \"Position\" input";
}

std::string checkFilter(const VelloUnitFilter& filter) {
  if (!isText(filter.display_name)) return "it has no display name";
  if (!isWordList(filter.categories)) return "its categories are no words separated by blanks";
  if (filter.kind != VELLO_UNIT_POINT && filter.kind != VELLO_UNIT_GENERATE)
    return "it is of an unknown kind";
  if (filter.pitch < VELLO_UNIT_FOLLOWS || filter.pitch > VELLO_UNIT_FINE)
    return "its pitch is of an unknown kind";
  if (!filter.run) return "it has no \"run\"";
  if (filter.parameter_bytes > VELLO_UNIT_PARAMETER_BYTES) return "its parameter block is too large";
  return checkInputs(filter);
}

}  // namespace

std::string checkImageUnit(const VelloImageUnit& unit) {
  if (unit.version != VELLO_IMAGE_UNIT_VERSION) return "it is of version " + std::to_string(unit.version);
  if (unit.filter_count < 1 || unit.filter_count > VELLO_UNIT_FILTERS || !unit.filters)
    return "it has no filters, or more than " + std::to_string(VELLO_UNIT_FILTERS);
  for (int i = 0; i < unit.filter_count; ++i) {
    const VelloUnitFilter& filter = unit.filters[i];
    if (!isWord(filter.name)) return "filter " + std::to_string(i) + ": its name is no word";
    const std::string error = checkFilter(filter);
    if (!error.empty()) return std::string(filter.name) + ": " + error;
  }
  return "";
}

}  // namespace vello
