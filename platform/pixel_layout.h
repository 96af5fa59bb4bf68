// Where the components of one pixel lie.
#pragma once

#include <array>

#include "platform/bitmap.h"

namespace vello {

// Byte offsets from a pixel's first byte.
struct PixelOffsets {
  std::array<int64_t, 4> color{};  // grey: only the first
  int64_t alpha = -1;              // or the skipped component; -1: neither

  explicit PixelOffsets(const PixelLayout& layout) {
    const int colors = layout.colorComponents(), last = layout.componentsPerPixel - 1;
    const int64_t bytes = layout.bitsPerComponent / 8;
    const bool reversed = layout.pixelBytesReversed && bytes == 1;
    const auto offset = [&](int place) { return (reversed ? last - place : place) * bytes; };
    for (int k = 0; k < colors; ++k)
      color[static_cast<size_t>(k)] = offset(k + (layout.alphaFirst() ? 1 : 0));
    if (colors <= last) alpha = offset(layout.alphaFirst() ? 0 : last);
  }
};

}  // namespace vello
