#include <expat.h>

#include <climits>
#include <map>
#include <memory>
#include <new>
#include <optional>

#include "platform/ascii.h"
#include "platform/number_text.h"
#include "platform/property_list_readers.h"
#include "platform/property_list_scalars.h"

namespace vello {
namespace {

enum class Element { kPlist, kArray, kDict, kKey, kString, kInteger, kReal, kTrue, kFalse, kData, kDate };

std::optional<Element> elementNamed(std::string_view name) {
  static const std::map<std::string_view, Element> kElements = {
      {"plist", Element::kPlist}, {"array", Element::kArray},   {"dict", Element::kDict},
      {"key", Element::kKey},     {"string", Element::kString}, {"integer", Element::kInteger},
      {"real", Element::kReal},   {"true", Element::kTrue},     {"false", Element::kFalse},
      {"data", Element::kData},   {"date", Element::kDate},
  };
  const auto found = kElements.find(name);
  return found == kElements.end() ? std::nullopt : std::optional(found->second);
}

bool holdsElements(Element element) {
  return element == Element::kPlist || element == Element::kArray || element == Element::kDict;
}

// An element that is open. The plist element collects its one value like an array.
struct OpenElement {
  Element element;
  std::string text;                         // of a scalar or key
  PropertyListArray values;                 // of an array
  std::vector<PropertyListMember> members;  // of a dictionary
  std::optional<std::string> key;           // waits for its value
};

// What a scalar's text stands for.
std::optional<PropertyList> scalarValue(Element element, const std::string& text) {
  const auto wrap = [](auto parsed) -> std::optional<PropertyList> {
    if (!parsed) return std::nullopt;
    return PropertyList(*std::move(parsed));
  };
  switch (element) {
    case Element::kString:
      return PropertyList(text);
    case Element::kInteger:
      return wrap(parseInteger(text));
    case Element::kReal:
      return wrap(parseNumber(text));
    case Element::kData:
      return wrap(parseBase64(text));
    case Element::kDate:
      return wrap(parseDate(text));
    case Element::kTrue:
      return text.empty() ? wrap(std::optional(true)) : std::nullopt;
    case Element::kFalse:
      return text.empty() ? wrap(std::optional(false)) : std::nullopt;
    default:
      return std::nullopt;
  }
}

class XmlReader {
 public:
  explicit XmlReader(const PropertyListLimits& limits);
  PropertyListResult read(std::string_view text);

 private:
  static XmlReader& reader(void* self) { return *static_cast<XmlReader*>(self); }
  void begin(std::string_view name);
  void end();
  void addText(std::string_view text);
  void addValue(PropertyList value);
  void fail(const std::string& why);
  bool failed() const { return !error_.empty(); }
  std::string placed(const std::string& why) const {
    return "line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": " + why;
  }

  PropertyListLimits limits_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, void (*)(XML_Parser)> parser_;
  std::vector<OpenElement> open_;
  PropertyList root_;
  std::string error_;
  size_t values_ = 0;
};

XmlReader::XmlReader(const PropertyListLimits& limits)
    : limits_(limits), parser_(XML_ParserCreate(nullptr), XML_ParserFree) {
  XML_Parser parser = parser_.get();
  if (!parser) throw std::bad_alloc();
  XML_SetUserData(parser, this);
  XML_SetElementHandler(
      parser, [](void* self, const char* name, const char**) { reader(self).begin(name); },
      [](void* self, const char*) { reader(self).end(); });
  XML_SetCharacterDataHandler(parser, [](void* self, const char* text, int length) {
    reader(self).addText({text, static_cast<size_t>(length)});
  });
  // Declarations inside the document are never needed and are how small files grow large.
  XML_SetStartDoctypeDeclHandler(
      parser, [](void* self, const char*, const char*, const char*, int hasInternalSubset) {
        if (hasInternalSubset) reader(self).fail("the document type declares something");
      });
  XML_SetSkippedEntityHandler(parser, [](void* self, const char* name, int) {
    reader(self).fail("unknown entity \"" + std::string(name) + "\"");
  });
}

void XmlReader::fail(const std::string& why) {
  if (failed()) return;
  error_ = placed(why);
  XML_StopParser(parser_.get(), XML_FALSE);
}

// The parser may still report the end of an element, or text, after it was told to stop.
void XmlReader::begin(std::string_view name) {
  if (failed()) return;
  const std::optional<Element> element = elementNamed(name);
  if (!element) return fail("unknown element \"" + std::string(name.substr(0, 64)) + "\"");
  if (open_.empty() != (*element == Element::kPlist)) return fail("the root must be one plist element");
  if (!open_.empty()) {
    const OpenElement& parent = open_.back();
    if (!holdsElements(parent.element)) return fail("an element within a scalar");
    if (parent.element == Element::kPlist && !parent.values.empty()) return fail("more than one value");
    const bool wantsKey = parent.element == Element::kDict && !parent.key;
    if (wantsKey != (*element == Element::kKey)) {
      return fail(wantsKey ? "a value without a key" : "a key where a value should be");
    }
  }
  // The plist element does not count.
  if (holdsElements(*element) && open_.size() > static_cast<size_t>(limits_.depth)) {
    return fail("more than " + std::to_string(limits_.depth) + " containers within one another");
  }
  if (++values_ > limits_.values + 1) return fail("more than " + std::to_string(limits_.values) + " values");
  open_.push_back({*element, {}, {}, {}, {}});
}

void XmlReader::addText(std::string_view text) {
  if (failed() || open_.empty()) return;
  OpenElement& element = open_.back();
  if (!holdsElements(element.element))
    element.text.append(text);
  else if (!trimBlanks(text).empty())
    fail("text outside of a scalar");
}

void XmlReader::addValue(PropertyList value) {
  OpenElement& parent = open_.back();
  if (parent.element != Element::kDict) return parent.values.push_back(std::move(value));
  parent.members.push_back({*std::move(parent.key), std::move(value)});
  parent.key.reset();
}

void XmlReader::end() {
  if (failed()) return;
  OpenElement element = std::move(open_.back());
  open_.pop_back();
  switch (element.element) {
    case Element::kPlist:
      if (element.values.empty()) return fail("the plist element is empty");
      root_ = std::move(element.values.front());
      return;
    case Element::kKey:
      open_.back().key = std::move(element.text);
      return;
    case Element::kArray:
      return addValue(std::move(element.values));
    case Element::kDict:
      if (element.key) return fail("a key without a value");
      return addValue(PropertyListDictionary::fromMembers(std::move(element.members)));
    default:
      if (std::optional<PropertyList> value = scalarValue(element.element, element.text)) {
        return addValue(*std::move(value));
      }
      return fail("\"" + element.text.substr(0, 64) + "\" is no value of its element");
  }
}

PropertyListResult XmlReader::read(std::string_view text) {
  if (text.size() > INT_MAX) return {{}, "the property list is too long"};
  const XML_Status status = XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
  if (failed()) return {{}, std::move(error_)};
  if (status != XML_STATUS_OK) return {{}, placed(XML_ErrorString(XML_GetErrorCode(parser_.get())))};
  return {std::move(root_), {}};
}

}  // namespace

PropertyListResult readXmlPropertyList(std::string_view text, const PropertyListLimits& limits) {
  return XmlReader(limits).read(text);
}

}  // namespace vello
