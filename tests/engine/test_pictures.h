// Small pictures for engine tests, and renders of them.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/render/context.h"

namespace vello::testing {

// Deterministic, the same on every machine.
struct Noise {
  uint64_t state = 0x1234567;
  uint32_t next() {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>(state >> 33);
  }
  int below(int n) { return static_cast<int>(next() % static_cast<uint32_t>(n)); }
  double unit() { return next() / 2147483648.0; }
};

inline PixelLayout rgba8(int64_t width, int64_t height, AlphaInfo alpha = AlphaInfo::premultipliedLast) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.bytesPerRow = width * 4;
  layout.alpha = alpha;
  return layout;
}

inline PixelLayout rgbaFloat(int64_t width, int64_t height) {
  PixelLayout layout = rgba8(width, height);
  layout.bitsPerComponent = 32;
  layout.isFloat = true;
  layout.bytesPerRow = width * 16;
  return layout;
}

// Gradients, noise, an edge and, where `transparent`, soft holes; 8 bit premultiplied sRGB.
inline CIImage picture(int width, int height, bool transparent = true, uint64_t seed = 1) {
  Noise noise{seed};
  std::vector<uint8_t> bytes;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const double wave = 0.5 + 0.5 * std::sin(x * 0.23 + seed) * std::cos(y * 0.17);
      const int alpha =
          transparent ? static_cast<int>(255 * std::min(1.0, 1.6 * std::abs(std::sin(x * 0.05 + y * 0.08))))
                      : 255;
      const double colors[] = {wave, x * 1.0 / width,
                               (x * 2 > width) != (y * 3 > height) ? 0.9 : 0.05 + 0.2 * noise.unit()};
      for (double c : colors) bytes.push_back(static_cast<uint8_t>(std::lround(c * alpha)));
      bytes.push_back(static_cast<uint8_t>(alpha));
    }
  return CIImage::imageWithBitmap(Bitmap(rgba8(width, height), ColorSpace::sRGB(), Data(std::move(bytes))));
}

// The raw bytes of a render; empty with a text in `error` when it failed.
inline std::vector<uint8_t> rendered(const CIImage& image, const CGRect& rect, PixelLayout layout,
                                     const ContextOptions& options, double pitch = 1,
                                     std::string* error = nullptr,
                                     const ColorSpacePtr& space = ColorSpace::sRGB()) {
  std::string text;
  const Bitmap bitmap = CIContext(options).createBitmap({image, rect, pitch, {}}, layout, space, &text);
  if (error) *error = text;
  if (bitmap.empty()) return {};
  return {bitmap.row(0), bitmap.row(0) + bitmap.layout().bytesPerRow * bitmap.height()};
}

inline int largestStep(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  if (a.size() != b.size()) return 999;
  int most = 0;
  for (size_t i = 0; i < a.size(); ++i) most = std::max(most, std::abs(a[i] - b[i]));
  return most;
}

}  // namespace vello::testing
