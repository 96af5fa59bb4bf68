// Looks into Exif blocks (TIFF structures) and changes in place only what a new picture makes wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_codecs/tiff_directory.h"

namespace vello {

struct ExifDensity {
  std::optional<double> x, y;  // dots per inch
};

// 1..8; 1 when the block does not say.
int exifOrientation(std::span<const uint8_t> exif);
ExifDensity exifDensity(std::span<const uint8_t> exif);

// Upright, the new size and density, no thumbnail. The rest stays byte for byte; a block that cannot be read
// stays as it is.
void updateExif(std::vector<uint8_t>& exif, int64_t width, int64_t height, const ExifDensity& density);
// A block that states only a density.
std::vector<uint8_t> makeExif(double dpiX, double dpiY);

// Numerator and denominator nearest to a positive value, both below 2^32.
std::pair<uint32_t, uint32_t> toRational(double value);

// The resolution of a directory in dots per inch.
ExifDensity densityOf(const TiffDirectory& directory);

}  // namespace vello
