#include "platform/number_text.h"
#include "platform/property_list.h"
#include "platform/property_list_scalars.h"

namespace vello {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr size_t kBase64LineLength = 68;

// Whether XML 1.0 has the character that a well-formed UTF-8 sequence stands for.
bool xmlHolds(std::string_view sequence) {
  if (sequence.size() == 1) {
    return static_cast<unsigned char>(sequence[0]) >= 0x20 || sequence == "\t" || sequence == "\n" ||
           sequence == "\r";
  }
  return sequence != "\xEF\xBF\xBE" && sequence != "\xEF\xBF\xBF";  // U+FFFE, U+FFFF
}

class Writer {
 public:
  bool write(const PropertyList& value, int depth);
  std::string text{kHeader};
  std::string problem;
  std::string path;  // of the value that was refused, from the root

 private:
  bool writeArray(const PropertyListArray& array, int depth);
  bool writeDictionary(const PropertyListDictionary& dictionary, int depth);
  bool writeScalar(const PropertyList& value, int depth);
  bool writeDate(PropertyListDate date, int depth);
  bool writeText(std::string_view element, std::string_view content, int depth);
  void writeData(const Data& data, int depth);
  bool escape(std::string_view content);
  // One line: `line`, indented.
  void line(std::string_view content, int depth);
  void element(std::string_view name, std::string_view content, int depth);
  bool refuse(std::string why) {
    problem = std::move(why);
    return false;
  }
  bool refuseBelow(const std::string& segment) {
    path.insert(0, segment);
    return false;
  }
};

void Writer::line(std::string_view content, int depth) {
  text.append(static_cast<size_t>(depth), '\t').append(content) += '\n';
}

void Writer::element(std::string_view name, std::string_view content, int depth) {
  text.append(static_cast<size_t>(depth), '\t').append("<").append(name).append(">").append(content);
  text.append("</").append(name).append(">\n");
}

bool Writer::escape(std::string_view content) {
  while (!content.empty()) {
    const size_t length = utf8SequenceLength(content);
    if (length == 0) return refuse("holds text that is not UTF-8");
    const std::string_view sequence = content.substr(0, length);
    if (!xmlHolds(sequence)) return refuse("holds a character that XML cannot hold");
    if (sequence == "&")
      text += "&amp;";
    else if (sequence == "<")
      text += "&lt;";
    else if (sequence == ">")
      text += "&gt;";
    else if (sequence == "\r")
      text += "&#13;";  // as itself it would be read as a line feed
    else
      text += sequence;
    content.remove_prefix(length);
  }
  return true;
}

bool Writer::writeText(std::string_view name, std::string_view content, int depth) {
  text.append(static_cast<size_t>(depth), '\t').append("<").append(name) += '>';
  if (!escape(content)) return false;
  text.append("</").append(name).append(">\n");
  return true;
}

void Writer::writeData(const Data& data, int depth) {
  line("<data>", depth);
  const std::string digits = base64Text(data);
  for (size_t i = 0; i < digits.size(); i += kBase64LineLength) {
    line(std::string_view(digits).substr(i, kBase64LineLength), depth);
  }
  line("</data>", depth);
}

bool Writer::writeDate(PropertyListDate date, int depth) {
  const std::optional<std::string> digits = dateText(date);
  if (!digits) return refuse("is a date outside the years 0000 to 9999");
  element("date", *digits, depth);
  return true;
}

bool Writer::writeScalar(const PropertyList& value, int depth) {
  if (value.isNil()) return refuse("is nil, which no property list can hold");
  if (value.string()) return writeText("string", *value.string(), depth);
  if (value.date()) return writeDate(*value.date(), depth);
  if (value.boolean()) line(*value.boolean() ? "<true/>" : "<false/>", depth);
  if (value.integer()) element("integer", std::to_string(*value.integer()), depth);
  if (value.real()) element("real", numberText(*value.real()), depth);
  if (value.data()) writeData(*value.data(), depth);
  return true;
}

bool Writer::writeArray(const PropertyListArray& array, int depth) {
  if (array.empty()) return line("<array/>", depth), true;
  line("<array>", depth);
  for (size_t i = 0; i < array.size(); ++i) {
    if (!write(array[i], depth + 1)) return refuseBelow("[" + std::to_string(i) + "]");
  }
  line("</array>", depth);
  return true;
}

bool Writer::writeDictionary(const PropertyListDictionary& dictionary, int depth) {
  if (dictionary.empty()) return line("<dict/>", depth), true;
  line("<dict>", depth);
  for (const auto& [key, value] : dictionary.members()) {
    if (!writeText("key", key, depth + 1)) {
      problem = "has a key that " + problem;
      return false;
    }
    if (!write(value, depth + 1)) return refuseBelow("." + key);
  }
  line("</dict>", depth);
  return true;
}

bool Writer::write(const PropertyList& value, int depth) {
  const bool container = value.array() || value.dictionary();
  if (container && depth >= kPropertyListDepth) {
    return refuse("lies within more than " + std::to_string(kPropertyListDepth) + " others");
  }
  if (value.array()) return writeArray(*value.array(), depth);
  if (value.dictionary()) return writeDictionary(*value.dictionary(), depth);
  return writeScalar(value, depth);
}

}  // namespace

PropertyListText writePropertyListXML(const PropertyList& value) {
  Writer writer;
  if (!writer.write(value, 0)) {
    return {{}, (writer.path.empty() ? "the value" : "the value at " + writer.path) + " " + writer.problem};
  }
  writer.text += "</plist>\n";
  return {std::move(writer.text), {}};
}

}  // namespace vello
