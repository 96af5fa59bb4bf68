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
void copyPixels(const uint8_t* from, const Walk& walk, const PixelRect& part, int64_t bytesPerRow,
                uint8_t* to) {
  constexpr int64_t kSquare = 64;
  for (int64_t top = part.top; top < part.bottom; top += kSquare) {
    for (int64_t left = part.left; left < part.right; left += kSquare) {
      const int64_t bottom = std::min(top + kSquare, part.bottom);
      const int64_t right = std::min(left + kSquare, part.right);
      for (int64_t y = top; y < bottom; ++y) {
        const uint8_t* source = from + walk.origin + y * walk.down + left * walk.right;
        uint8_t* target = to + y * bytesPerRow + left * static_cast<int64_t>(pixelBytes);
        for (int64_t x = left; x < right; ++x, source += walk.right, target += pixelBytes) {
          std::memcpy(target, source, pixelBytes);
        }
      }
    }
  }
}

using Copy = void (*)(const uint8_t*, const Walk&, const PixelRect&, int64_t, uint8_t*);

template <size_t... bytes>
Copy copyFor(int64_t pixelBytes, std::index_sequence<bytes...>) {
  static constexpr Copy kCopies[] = {copyPixels<bytes + 1>...};
  return kCopies[pixelBytes - 1];
}

}  // namespace

PixelLayout turnedLayout(const PixelLayout& stored, int orientation) {
  PixelLayout shown = stored;
  if (orientation >= 5) std::swap(shown.width, shown.height);
  shown.bytesPerRow = shown.width * shown.bytesPerPixel();
  return shown;
}

void copyTurned(const uint8_t* stored, const PixelLayout& layout, int orientation, const PixelRect& part,
                uint8_t* shown) {
  constexpr size_t kLargestPixel = 20;  // five floats
  const Copy copy = copyFor(layout.bytesPerPixel(), std::make_index_sequence<kLargestPixel>());
  copy(stored, walkOf(orientation, layout), part, turnedLayout(layout, orientation).bytesPerRow, shown);
}

void applyOrientation(DecodedImage& image) {
  if (image.orientation == 1) return;
  const PixelLayout stored = image.layout;
  const std::shared_ptr<uint8_t[]> pixels = std::exchange(image.pixels, nullptr);
  image.layout = turnedLayout(stored, image.orientation);
  image.allocate();
  copyTurned(pixels.get(), stored, image.orientation, {0, 0, image.layout.width, image.layout.height},
             image.pixels.get());
  image.orientation = 1;
}

}  // namespace vello
