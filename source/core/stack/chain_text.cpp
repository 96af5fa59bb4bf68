#include "source/core/stack/chain_text.h"

#include "platform/log.h"
#include "source/parameters/chain_limits.h"

namespace vello {
namespace {

// The texts are part of the interface, the leading blank of the first included.
constexpr const char* kCouldNotDecode = " could not decode filter chain string : \n %@\n";
constexpr const char* kCouldNotCreate = "Could not create string for filter chain : \n %@\n";

}  // namespace

ChainTextResult readChainText(std::string_view text) {
  if (text.size() > kChainTextBytes)
    return {{},
            "the text has " + std::to_string(text.size()) + " bytes, the limit is " +
                std::to_string(kChainTextBytes)};
  PropertyListResult read = readPropertyList({reinterpret_cast<const uint8_t*>(text.data()), text.size()},
                                             {.bytes = kChainTextBytes, .depth = kChainDepth});
  if (!read.ok()) return {{}, std::move(read.error)};
  const PropertyListArray* boxes = read.value.array();
  if (!boxes) return {{}, "the property list is not an array"};
  if (boxes->size() > kChainBoxes)
    return {{},
            "the chain has " + std::to_string(boxes->size()) + " boxes, the limit is " +
                std::to_string(kChainBoxes)};
  return {*boxes, {}};
}

std::optional<PropertyListArray> chainFromText(std::string_view text) {
  ChainTextResult read = readChainText(text);
  if (read.ok()) return std::move(read.boxes);
  logLine(kCouldNotDecode, {read.error});
  return std::nullopt;
}

std::optional<std::string> chainToText(const PropertyListArray& boxes) {
  PropertyListText written = writePropertyListXML(boxes);
  if (written.ok()) return std::move(written.text);
  logLine(kCouldNotCreate, {written.error});
  return std::nullopt;
}

}  // namespace vello
