// Metadata blocks as containers wrap them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vello {

using Bytes = std::vector<uint8_t>;

// IPTC datasets to and from the image resource blocks ("8BIM") that JPEG, TIFF and PNG files keep them in.
Bytes iptcFromResources(std::span<const uint8_t> resources);
Bytes resourcesFromIPTC(std::span<const uint8_t> iptc);

// The text of a PNG "Raw profile type" entry: a name, a length and hexadecimal digits.
Bytes fromRawProfileText(std::string_view text);
std::string toRawProfileText(const std::string& name, std::span<const uint8_t> bytes);

// Says upright where an XMP packet states tiff:Orientation.
void resetXMPOrientation(Bytes& xmp);

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;
// A stream over a copy of the descriptor.
FilePtr openForWriting(int descriptor);

}  // namespace vello
