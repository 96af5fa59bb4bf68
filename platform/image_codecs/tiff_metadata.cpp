#include "platform/image_codecs/tiff_metadata.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/metadata_blocks.h"

namespace vello {

namespace {

constexpr uint16_t kXMP = 700, kIPTC = 33723, kPhotoshop = 34377, kProfile = 34675;

// Tags that tell how and where this file's pixels are stored, or that have a place of their own in
// ImageMetadata; TIFF 6.0 and its supplements.
bool isStructural(uint16_t tag) {
  constexpr uint16_t kTags[] = {
      254, 255, 256, 257, 258, 259, 262,  263,   264,   265,      266,   273,   274,       277, 278,
      279, 280, 281, 282, 283, 284, 290,  291,   292,   293,      296,   297,   301,       317, 318,
      319, 320, 321, 322, 323, 324, 325,  326,   327,   328,      330,   332,   333,       334, 336,
      338, 339, 340, 341, 342, 346, 347,  512,   513,   514,      515,   517,   518,       519, 520,
      521, 529, 530, 531, 532, 559, kXMP, 32997, 32998, kProfile, 37724, kIPTC, kPhotoshop};
  return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

// IPTC written as 32-bit numbers in the other byte order starts with the wrong byte of four, and ends in up
// to three bytes of padding.
Bytes cleanIPTC(const TiffValue& value) {
  constexpr uint8_t kDatasetMark = 0x1c;
  Bytes bytes = value.bytes;
  if (value.type != tiff_type::kLong || bytes.size() < 4) return bytes;
  if (bytes[0] != kDatasetMark && bytes[3] == kDatasetMark) {
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4)
      std::reverse(bytes.begin() + static_cast<long>(i), bytes.begin() + static_cast<long>(i + 4));
  }
  size_t end = 0;
  while (end + 5 <= bytes.size() && bytes[end] == kDatasetMark) {
    end += 5 + static_cast<size_t>(bytes[end + 3] << 8 | bytes[end + 4]);
  }
  if (end <= bytes.size() && bytes.size() - end < 4) bytes.resize(end);
  return bytes;
}

TiffDirectory descriptiveOnly(const TiffDirectory& directory) {
  TiffDirectory result;
  result.format = directory.format, result.children = directory.children;
  for (const auto& [tag, value] : directory.values) {
    if (!isStructural(tag)) result.values.emplace(tag, value);
  }
  return result;
}

}  // namespace

ImageMetadata readTiffMetadata(const TiffDirectory& directory) {
  ImageMetadata metadata;
  const ExifDensity density = densityOf(directory);
  metadata.dpiX = density.x, metadata.dpiY = density.y;
  const auto& values = directory.values;
  if (const auto found = values.find(kXMP); found != values.end()) metadata.xmp = found->second.bytes;
  if (const auto found = values.find(kIPTC); found != values.end()) {
    metadata.iptc = cleanIPTC(found->second);
  } else if (const auto resources = values.find(kPhotoshop); resources != values.end()) {
    metadata.iptc = iptcFromResources(resources->second.bytes);
  }
  TiffDirectory exif = descriptiveOnly(directory);
  if (exif.values.empty() && exif.children.empty()) return metadata;
  for (const uint16_t tag : {tiff_tag::kXResolution, tiff_tag::kYResolution, tiff_tag::kResolutionUnit}) {
    if (const auto found = values.find(tag); found != values.end()) exif.values.insert(*found);
  }
  metadata.exif = serialisedBlock(exif);
  return metadata;
}

namespace {

TiffValue blockValue(uint16_t type, const Bytes& bytes) { return {type, bytes.size(), bytes, 0}; }

// The same directory in another byte order.
TiffDirectory converted(const TiffDirectory& directory, TiffFormat format) {
  constexpr uint64_t kPlace = 8;  // 0 means none
  Bytes bytes(kPlace);
  const Bytes rest = serialised(directory, format, kPlace);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return readTiffDirectory(MemorySource(bytes), format, kPlace).value_or(TiffDirectory{.format = format});
}

void addValues(TiffDirectory& directory, const ImageMetadata& metadata) {
  const MemorySource source(metadata.exif);
  if (const auto header = readTiffHeader(source)) {
    if (auto exif = readTiffDirectory(source, header->format, header->firstDirectory)) {
      exif = converted(descriptiveOnly(*exif), directory.format);
      directory.values.insert(exif->values.begin(), exif->values.end());
      directory.children = exif->children;
    }
  }
  if (!metadata.xmp.empty()) directory.values[kXMP] = blockValue(tiff_type::kByte, metadata.xmp);
  if (!metadata.iptc.empty()) directory.values[kIPTC] = blockValue(tiff_type::kUndefined, metadata.iptc);
  const auto setResolution = [&](uint16_t tag, std::optional<double> dpi) {
    const auto found = directory.values.find(tag);
    if (!dpi || found == directory.values.end() || found->second.bytes.size() != 8) return;
    const auto [numerator, denominator] = toRational(*dpi);
    writeInteger(found->second.bytes.data(), 4, directory.format.bigEndian, numerator);
    writeInteger(found->second.bytes.data() + 4, 4, directory.format.bigEndian, denominator);
  };
  setResolution(tiff_tag::kXResolution, metadata.dpiX);
  setResolution(tiff_tag::kYResolution, metadata.dpiY);
}

bool writeAt(int descriptor, uint64_t offset, const uint8_t* bytes, size_t count) {
  while (count > 0) {
    const ssize_t written = pwrite(descriptor, bytes, count, static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written, count -= static_cast<size_t>(written), offset += static_cast<uint64_t>(written);
  }
  return true;
}

}  // namespace

std::string addTiffMetadata(int descriptor, const ImageMetadata& metadata, const Data& profile) {
  const std::unique_ptr<ByteSource> source = openDescriptor(descriptor);
  const auto header = source ? readTiffHeader(*source) : std::nullopt;
  auto directory = header ? readTiffDirectory(*source, header->format, header->firstDirectory) : std::nullopt;
  if (!directory || !directory->unreadable.empty()) return "the written file cannot be read again";
  addValues(*directory, metadata);
  if (!profile.empty()) {
    const std::span<const uint8_t> bytes = profile.span();
    directory->values[kProfile] = blockValue(tiff_type::kUndefined, Bytes(bytes.begin(), bytes.end()));
  }
  const uint64_t base = (static_cast<uint64_t>(source->size()) + 7) / 8 * 8;
  const std::vector<uint8_t> bytes = serialised(*directory, header->format, base);
  if (!header->format.bigTiff && base + bytes.size() > UINT32_MAX) return "the file is too large";
  uint8_t place[8];
  const int width = header->format.bigTiff ? 8 : 4;
  writeInteger(place, width, header->format.bigEndian, base);
  const bool ok = writeAt(descriptor, base, bytes.data(), bytes.size()) &&
                  writeAt(descriptor, header->format.bigTiff ? 8 : 4, place, static_cast<size_t>(width));
  return ok ? "" : "the disk is full or cannot be written";
}

}  // namespace vello
