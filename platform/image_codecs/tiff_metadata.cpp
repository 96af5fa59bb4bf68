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

namespace {

// 64-bit numbers as 32-bit ones, in the directory's byte order. False when one does not fit.
bool narrow(TiffValue& value, bool bigEndian) {
  if (value.type != tiff_type::kLong8 && value.type != tiff_type::kIFD8) return true;
  Bytes narrowed(value.bytes.size() / 2);
  for (size_t i = 0; i < value.count; ++i) {
    const uint64_t number = readInteger(value.bytes.data() + 8 * i, 8, bigEndian);
    if (number > UINT32_MAX) return false;
    writeInteger(narrowed.data() + 4 * i, 4, bigEndian, number);
  }
  value.type = value.type == tiff_type::kLong8 ? tiff_type::kLong : tiff_type::kIFD;
  value.bytes = std::move(narrowed);
  return true;
}

// As a classic file's; nothing when its numbers are too large for one.
std::optional<TiffDirectory> classic(TiffDirectory directory) {
  directory.format.bigTiff = false;
  for (auto& [tag, value] : directory.values) {
    if (!narrow(value, directory.format.bigEndian)) return std::nullopt;
  }
  return directory;
}

// The directory with all that is to be said, as it will lie at `base`.
Bytes finished(TiffDirectory directory, const ImageMetadata& metadata, const Data& profile, uint64_t base) {
  addValues(directory, metadata);
  if (!profile.empty()) {
    const std::span<const uint8_t> bytes = profile.span();
    directory.values[kProfile] = blockValue(tiff_type::kUndefined, Bytes(bytes.begin(), bytes.end()));
  }
  return serialised(directory, directory.format, base);
}

// A file's first bytes, of which there is room for the longer kind.
Bytes fileHeader(TiffFormat format, uint64_t directory) {
  Bytes header(16);
  header[0] = header[1] = format.bigEndian ? 'M' : 'I';
  writeInteger(header.data() + 2, 2, format.bigEndian, format.bigTiff ? 43 : 42);
  if (format.bigTiff) {
    constexpr int kOffsetBytes = 8;
    writeInteger(header.data() + 4, 2, format.bigEndian, kOffsetBytes);
    writeInteger(header.data() + 8, kOffsetBytes, format.bigEndian, directory);
  } else {
    writeInteger(header.data() + 4, 4, format.bigEndian, directory);
  }
  return header;
}

}  // namespace

std::string addTiffMetadata(int descriptor, const ImageMetadata& metadata, const Data& profile) {
  const std::unique_ptr<ByteSource> source = openDescriptor(descriptor);
  const auto header = source ? readTiffHeader(*source) : std::nullopt;
  const auto directory =
      header ? readTiffDirectory(*source, header->format, header->firstDirectory) : std::nullopt;
  if (!directory || !directory->unreadable.empty()) return "the written file cannot be read again";
  const uint64_t base = (static_cast<uint64_t>(source->size()) + 7) / 8 * 8;
  TiffFormat format = header->format;
  format.bigTiff = false;
  Bytes bytes;
  if (const auto small = classic(*directory)) bytes = finished(*small, metadata, profile, base);
  if (bytes.empty() || base + bytes.size() > UINT32_MAX) {
    format.bigTiff = true;
    bytes = finished(*directory, metadata, profile, base);
  }
  if (format.bigTiff && !header->format.bigTiff) return "the file is too large";
  Bytes head = fileHeader(format, base);
  head.resize(header->format.bigTiff ? 16 : 8);
  const bool ok = writeAt(descriptor, base, bytes.data(), bytes.size()) &&
                  writeAt(descriptor, 0, head.data(), head.size());
  return ok ? "" : "the disk is full or cannot be written";
}

}  // namespace vello
