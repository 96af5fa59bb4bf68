// The directories of TIFF structures as raw values: to carry Exif between files whole, and to look into Exif
// blocks. Classic TIFF and BigTIFF, both byte orders.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "platform/file_bytes.h"

namespace vello {

struct TiffFormat {
  bool bigEndian = false;
  bool bigTiff = false;  // 64-bit offsets
};

namespace tiff_tag {
inline constexpr uint16_t kImageWidth = 0x0100, kImageLength = 0x0101, kOrientation = 0x0112;
inline constexpr uint16_t kXResolution = 0x011a, kYResolution = 0x011b, kResolutionUnit = 0x0128;
inline constexpr uint16_t kThumbnailOffset = 0x0201, kThumbnailLength = 0x0202;
inline constexpr uint16_t kExif = 0x8769, kGPS = 0x8825, kInteroperability = 0xa005;
inline constexpr uint16_t kPixelXDimension = 0xa002, kPixelYDimension = 0xa003;
}  // namespace tiff_tag

// As the TIFF 6.0 standard numbers them.
namespace tiff_type {
inline constexpr uint16_t kByte = 1, kASCII = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7,
                          kIFD = 13, kLong8 = 16, kIFD8 = 18;
}
// Bytes of one element, 0 for an unknown type.
int tiffTypeSize(uint16_t type);

uint64_t readInteger(const uint8_t* p, int bytes, bool bigEndian);
void writeInteger(uint8_t* p, int bytes, bool bigEndian, uint64_t value);

struct TiffValue {
  uint16_t type = 0;
  uint64_t count = 0;
  std::vector<uint8_t> bytes;  // in the directory's byte order
  uint64_t offset = 0;         // where the bytes lay in the source
};

struct TiffDirectory {
  TiffFormat format;
  std::map<uint16_t, TiffValue> values;
  std::vector<uint16_t> unreadable;            // tags whose values lie outside the source or are too long
  std::map<uint16_t, TiffDirectory> children;  // of Exif, GPS and interoperability
  uint64_t offset = 0, size = 0;               // of the table itself in the source
  uint64_t next = 0;                           // offset of the next directory or 0

  // The first number of a byte, short, long or 64-bit value.
  std::optional<uint64_t> integer(uint16_t tag) const;
  std::optional<double> rational(uint16_t tag) const;
};

struct TiffHeader {
  TiffFormat format;
  uint64_t firstDirectory = 0;
};

std::optional<TiffHeader> readTiffHeader(const ByteSource& source);
// With its children. Unreadable values are left out; nothing if the table itself cannot be read. Values are
// limited to 32 MB each.
std::optional<TiffDirectory> readTiffDirectory(const ByteSource& source, TiffFormat format, uint64_t offset);

// The bytes of a directory and its children that will lie at `base` (even) of a structure of that format;
// the directory's table comes first.
std::vector<uint8_t> serialised(const TiffDirectory& directory, TiffFormat format, uint64_t base);
// A whole classic structure with one directory.
std::vector<uint8_t> serialisedBlock(const TiffDirectory& directory);

}  // namespace vello
