#include "hosts/cli/chain_listing.h"

#include "engine/catalogue/filter.h"
#include "hosts/cli/filter_listing.h"
#include "hosts/cli/value_text.h"
#include "platform/number_text.h"
#include "source/core/stack/chain_text.h"
#include "source/core/stack/chain_value_check.h"
#include "source/core/stack/control_kind.h"

namespace vello::cli {
namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr const char* kBackgroundFilter = "CIConstantColorGenerator";
constexpr const char* kIndent = "   ";

// A control character could do things to the terminal.
std::string printable(const std::string& text) {
  std::string result = shortened(text);
  for (char& c : result)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  return result;
}

std::string storedText(const PropertyList& value);

std::string entriesText(const PropertyListDictionary& entries) {
  std::string text;
  for (const PropertyListMember& entry : entries.members())
    text += (text.empty() ? "" : ", ") + printable(entry.key) + " " +
            (entry.value.dictionary() ? "{...}" : storedText(entry.value));
  return text.empty() ? "(nothing)" : text;
}

std::string storedText(const PropertyList& value) {
  if (value.boolean()) return *value.boolean() ? "yes" : "no";
  if (value.isNumber()) return numberText(value.number());
  if (value.string()) return printable(*value.string());
  if (value.dictionary()) return entriesText(*value.dictionary());
  return value.array() ? "(an array)" : "(no value a chain has)";
}

// The stack puts the running image there.
bool isSuppliedByStack(const InputAttributes& input) {
  return input.key == kCIInputImageKey || input.key == kCIInputBackgroundImageKey;
}

std::string defaultText(const InputAttributes& input) {
  const std::string value = valueText(input.defaultValue);
  return value.empty() ? "the default" : "the default, " + value + ",";
}

void addInputRow(const FilterAttributes& filter, const InputAttributes& input,
                 const PropertyListDictionary& values, Rows& rows) {
  const PropertyList* stored = values.find(input.key);
  if (controlKind(filter, input) == ControlKind::none) {
    if (stored || !isSuppliedByStack(input))
      rows.push_back({input.key, "! a chain cannot hold it: " + defaultText(input) + " is used"});
  } else {
    rows.push_back(
        {input.key, stored ? storedText(*stored) : "! missing: " + defaultText(input) + " is used"});
  }
}

std::string inputsText(const FilterAttributes& filter, const PropertyListDictionary& values) {
  Rows rows;
  for (const InputAttributes& input : filter.inputs) addInputRow(filter, input, values, rows);
  for (const PropertyListMember& member : values.members())
    if (member.key != kCIAttributeFilterName && !filter.input(member.key))
      rows.push_back({printable(member.key), "! the filter has no such input"});
  return alignedTable(rows, kIndent);
}

std::string boxText(size_t index, const PropertyList& element) {
  const PropertyListDictionary* values = element.dictionary();
  if (!values) return "! no filter: the element is not a dictionary\n";
  const PropertyList* stored = values->find(kCIAttributeFilterName);
  const std::string name = index == 0                   ? kBackgroundFilter
                           : stored && stored->string() ? *stored->string()
                                                        : "";
  const FilterAttributes* filter = CIFilter::attributesForFilterName(name);
  if (!filter)
    return name.empty() ? "! no filter: its name is missing\n" : printable(name) + " ! no such filter\n";
  const std::string title = index == 0 ? "Background" : filter->displayName;
  return title + " (" + filter->name + ")\n" + inputsText(*filter, *values);
}

}  // namespace

std::string chainDescription(const PropertyListArray& boxes) {
  std::string text;
  for (size_t i = 0; i < boxes.size(); ++i) text += std::to_string(i) + ". " + boxText(i, boxes[i]);
  return text.empty() ? "an empty chain: it changes nothing\n" : text;
}

}  // namespace vello::cli
