#include "source/core/stack/chain_text.h"

#include "platform/image_file.h"
#include "platform/log.h"
#include "source/parameters/chain_limits.h"

namespace vello {
namespace {

// The texts are part of the interface, the leading blank of the first included.
constexpr const char* kCouldNotDecode = " could not decode filter chain string : \n %@\n";
constexpr const char* kCouldNotCreate = "Could not create string for filter chain : \n %@\n";

std::string beyond(const char* what, size_t count, size_t limit) {
  return std::string("the chain has ") + std::to_string(count) + " " + what + ", the limit is " +
         std::to_string(limit);
}

// What is too much, or an empty text.
std::string limitExceeded(const PropertyListArray& boxes) {
  if (boxes.size() > kMaxChainBoxes) return beyond("boxes", boxes.size(), kMaxChainBoxes);
  const size_t files = imagePathsInChain(boxes).size();
  return files > kMaxChainImageFiles ? beyond("image files", files, kMaxChainImageFiles) : "";
}

// What the image files say of themselves, or an empty text. One that cannot be read costs nothing.
std::string imagePixelsExceeded(const PropertyListArray& boxes) {
  int64_t pixels = 0;
  for (const std::string& path : imagePathsInChain(boxes)) {
    const auto info = imageFileInfo(path, nullptr);
    if (info) pixels += info->width * info->height;  // of a header's sides: far from overflowing
    if (pixels > kMaxChainImagePixels) {
      return "the chain's image files together have more than " + std::to_string(kMaxChainImagePixels) +
             " pixels";
    }
  }
  return {};
}

}  // namespace

std::set<std::string> imagePathsInChain(const PropertyListArray& boxes) {
  std::set<std::string> paths;
  for (const PropertyList& box : boxes) {
    if (!box.dictionary()) continue;
    for (const PropertyListMember& member : box.dictionary()->members()) {
      const PropertyListDictionary* value = member.value.dictionary();
      const PropertyList* path = value ? value->find("path") : nullptr;
      if (path && path->string()) paths.insert(*path->string());
    }
  }
  return paths;
}

ChainTextResult readChainText(std::string_view text) {
  if (text.size() > kMaxChainBytes) return {{}, beyond("bytes", text.size(), kMaxChainBytes)};
  PropertyListResult read =
      readPropertyList({reinterpret_cast<const uint8_t*>(text.data()), text.size()},
                       {.bytes = kMaxChainBytes, .depth = kMaxChainDepth, .values = kMaxChainValues});
  if (!read.ok()) return {{}, std::move(read.error)};
  const PropertyListArray* boxes = read.value.array();
  if (!boxes) return {{}, "the property list is not an array"};
  std::string tooMuch = limitExceeded(*boxes);
  if (!tooMuch.empty()) return {{}, std::move(tooMuch)};
  return {std::move(read.value), {}};
}

ChainTextResult chainFromText(std::string_view text) {
  ChainTextResult read = readChainText(text);
  if (read.ok()) read.error = imagePixelsExceeded(read.boxes());
  if (!read.ok()) logLine(kCouldNotDecode, {read.error});
  return read;
}

std::optional<std::string> chainToText(const PropertyListArray& boxes) {
  PropertyListText written = writePropertyListXML(boxes);
  if (written.ok()) return std::move(written.text);
  logLine(kCouldNotCreate, {written.error});
  return std::nullopt;
}

}  // namespace vello
