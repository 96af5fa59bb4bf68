// Any bytes as a picture: read within small limits, its pixels converted, its blocks prepared for writing.
#pragma once

#include <vector>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/metadata_blocks.h"
#include "platform/image_file.h"
#include "platform/pixel_conversion.h"

namespace vello {

inline void fuzzImage(const uint8_t* data, size_t size) {
  const ImageLimits limits{.side = 4096, .pixels = 1 << 18, .bytes = 1 << 23};
  ImageReadResult result = readImage({data, size}, "fuzz", limits);
  updateExif(result.metadata.exif, 100, 200, {72, 72});
  resetXMPOrientation(result.metadata.xmp);
  if (!result.ok()) return;
  const int width = static_cast<int>(result.bitmap.width());
  std::vector<float> planes(static_cast<size_t>(width) * 4);
  float* p = planes.data();
  PixelReader(result.bitmap)
      .readLinear(result.bitmap.height() - 1, 0, width, {p, p + width, p + 2 * width, p + 3 * width});
}

}  // namespace vello
