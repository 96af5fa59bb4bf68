#include "hosts/cli/filter_listing.h"

#include <algorithm>

#include "engine/catalogue/filter.h"
#include "hosts/cli/json.h"
#include "hosts/cli/value_text.h"
#include "platform/number_text.h"

namespace vello::cli {
namespace {

std::string valueAsJson(const Value& value) {
  if (value.string()) return jsonText(*value.string());
  std::vector<std::string> numbers;
  for (const double number : numbersOf(value)) numbers.push_back(jsonNumber(number));
  return value.isNumber() ? numbers.front() : jsonArray(numbers);
}

void addValue(JsonWriter& json, const char* key, const Value& value) {
  if (!value.isNil()) json.member(key, valueAsJson(value));
}

void addNumber(JsonWriter& json, const char* key, const std::optional<double>& number) {
  if (number) json.member(key, jsonNumber(*number));
}

void addInput(JsonWriter& json, const InputAttributes& input) {
  json.beginObject();
  json.member("key", jsonText(input.key));
  json.member("displayName", jsonText(input.displayName));
  json.member("class", jsonText(input.className));
  if (!input.type.empty()) json.member("type", jsonText(input.type));
  addValue(json, "default", input.defaultValue);
  addValue(json, "identity", input.identity);
  addNumber(json, "min", input.min);
  addNumber(json, "max", input.max);
  addNumber(json, "sliderMin", input.sliderMin);
  addNumber(json, "sliderMax", input.sliderMax);
  json.endObject();
}

void addFilter(JsonWriter& json, const FilterAttributes& filter) {
  std::vector<std::string> categories;
  for (const std::string& category : filter.categories) categories.push_back(jsonText(category));
  json.beginObject();
  json.member("name", jsonText(filter.name));
  json.member("displayName", jsonText(filter.displayName));
  json.member("categories", jsonArray(categories));
  json.beginArray("inputs");
  for (const InputAttributes& input : filter.inputs) addInput(json, input);
  json.endArray();
  json.endObject();
}

// "0 to 1", "from 0", "up to 1"
std::string rangeText(const std::optional<double>& low, const std::optional<double>& high) {
  if (low && high) return numberText(*low) + " to " + numberText(*high);
  if (low) return "from " + numberText(*low);
  return high ? "up to " + numberText(*high) : "";
}

// Bytes that continue a UTF-8 character take no column.
size_t columns(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

std::string alignedTable(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line = indent;
    for (size_t i = 0; i < row.size(); ++i)
      line += row[i] + std::string(widths[i] - columns(row[i]) + 2, ' ');
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

std::string filtersAsJson(const FilterList& filters) {
  JsonWriter json;
  json.beginArray();
  for (const FilterAttributes* filter : filters) addFilter(json, *filter);
  json.endArray();
  return json.text() + "\n";
}

std::string filtersAsTable(const FilterList& filters) {
  std::vector<std::vector<std::string>> rows;
  for (const FilterAttributes* filter : filters) {
    const std::string category = filter->categories.empty() ? "" : filter->categories.front();
    rows.push_back({filter->name, filter->displayName, CIFilter::localizedNameForCategory(category)});
  }
  return alignedTable(rows, "");
}

std::string filterDescription(const FilterAttributes& filter) {
  std::string text = filter.name + ": " + filter.displayName + "\n";
  std::string categories;
  for (const std::string& category : filter.categories)
    categories += (categories.empty() ? "" : ", ") + category;
  text += "categories: " + categories + "\n";
  if (filter.inputs.empty()) return text + "no inputs\n";
  std::vector<std::vector<std::string>> rows{
      {"input", "takes", "default", "unchanged at", "allowed", "usual"}};
  for (const InputAttributes& input : filter.inputs)
    rows.push_back({input.key, expectedForm(input), valueText(input.defaultValue), valueText(input.identity),
                    rangeText(input.min, input.max), rangeText(input.sliderMin, input.sliderMax)});
  return text + alignedTable(rows, "  ");
}

}  // namespace vello::cli
