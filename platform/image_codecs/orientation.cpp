#include "platform/image_codecs/orientation.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vello {

namespace {

// Where a shown pixel lies in the stored picture: origin + x * right + y * down, in bytes.
struct Walk {
  int64_t origin, right, down;
};

Walk walkOf(int orientation, const PixelLayout& stored) {
  const int64_t x = stored.bytesPerPixel(), y = stored.bytesPerRow;
  const int64_t lastX = (stored.width - 1) * x, lastY = (stored.height - 1) * y;
  switch (orientation) {
    case 2:
      return {lastX, -x, y};
    case 3:
      return {lastX + lastY, -x, -y};
    case 4:
      return {lastY, x, -y};
    case 5:
      return {0, y, x};
    case 6:
      return {lastY, -y, x};
    case 7:
      return {lastX + lastY, -y, -x};
    case 8:
      return {lastX, y, -x};
    default:
      return {0, x, y};
  }
}

// In squares, so that neither side leaves the cache when rows become columns.
template <size_t pixelBytes>
void copyPixels(const uint8_t* from, const Walk& walk, const PixelLayout& shown, uint8_t* to) {
  constexpr int64_t kSquare = 64;
  for (int64_t top = 0; top < shown.height; top += kSquare) {
    for (int64_t left = 0; left < shown.width; left += kSquare) {
      const int64_t bottom = std::min(top + kSquare, shown.height);
      const int64_t right = std::min(left + kSquare, shown.width);
      for (int64_t y = top; y < bottom; ++y) {
        const uint8_t* source = from + walk.origin + y * walk.down + left * walk.right;
        uint8_t* target = to + y * shown.bytesPerRow + left * static_cast<int64_t>(pixelBytes);
        for (int64_t x = left; x < right; ++x, source += walk.right, target += pixelBytes) {
          std::memcpy(target, source, pixelBytes);
        }
      }
    }
  }
}

using Copy = void (*)(const uint8_t*, const Walk&, const PixelLayout&, uint8_t*);

template <size_t... bytes>
Copy copyFor(int64_t pixelBytes, std::index_sequence<bytes...>) {
  static constexpr Copy kCopies[] = {copyPixels<bytes + 1>...};
  return kCopies[pixelBytes - 1];
}

}  // namespace

void applyOrientation(DecodedImage& image) {
  if (image.orientation == 1) return;
  constexpr size_t kLargestPixel = 20;  // five floats
  const PixelLayout stored = image.layout;
  const std::shared_ptr<uint8_t[]> pixels = std::move(image.pixels);
  if (image.orientation >= 5) std::swap(image.layout.width, image.layout.height);
  image.layout.bytesPerRow = image.layout.width * image.layout.bytesPerPixel();
  image.allocate();
  copyFor(stored.bytesPerPixel(), std::make_index_sequence<kLargestPixel>())(
      pixels.get(), walkOf(image.orientation, stored), image.layout, image.pixels.get());
  image.orientation = 1;
}

}  // namespace vello
