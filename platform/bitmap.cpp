#include "platform/bitmap.h"

#include <atomic>
#include <cassert>

namespace vello {

int PixelLayout::colorComponents() const {
  if (alpha == AlphaInfo::only) return 0;
  return alpha == AlphaInfo::none ? componentsPerPixel : componentsPerPixel - 1;
}

namespace {

std::optional<std::string> checkPixel(const PixelLayout& layout) {
  const int bits = layout.bitsPerComponent, components = layout.componentsPerPixel;
  if (bits != 8 && bits != 16 && bits != 32) {
    return std::to_string(bits) + " bits per component are not supported";
  }
  if (layout.isFloat != (bits == 32)) {
    return std::to_string(bits) + "-bit components cannot be " +
           (layout.isFloat ? "floating point" : "integers");
  }
  if (static_cast<uint32_t>(layout.alpha) > static_cast<uint32_t>(AlphaInfo::only)) {
    return "unknown alpha kind " + std::to_string(static_cast<uint32_t>(layout.alpha));
  }
  const int colors = layout.colorComponents();
  const bool fits =
      layout.alpha == AlphaInfo::only ? components == 1 : colors == 1 || colors == 3 || colors == 4;
  if (!fits) {
    return std::to_string(components) + " components per pixel do not fit the alpha kind " +
           std::to_string(static_cast<uint32_t>(layout.alpha));
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> checkLayout(const PixelLayout& layout, size_t byteCount) {
  if (layout.width <= 0 || layout.height <= 0) {
    return "the size " + std::to_string(layout.width) + " x " + std::to_string(layout.height) + " is empty";
  }
  if (auto problem = checkPixel(layout)) return problem;
  int64_t rowBytes = 0, before = 0, total = 0;
  if (__builtin_mul_overflow(layout.width, layout.bytesPerPixel(), &rowBytes) ||
      layout.bytesPerRow < rowBytes) {
    return std::to_string(layout.bytesPerRow) + " bytes per row are too few for " +
           std::to_string(layout.width) + " pixels";
  }
  if (__builtin_mul_overflow(layout.height - 1, layout.bytesPerRow, &before) ||
      __builtin_add_overflow(before, rowBytes, &total) || static_cast<uint64_t>(total) > byteCount) {
    return std::to_string(byteCount) + " bytes are too few for " + std::to_string(layout.width) + " x " +
           std::to_string(layout.height) + " pixels";
  }
  return std::nullopt;
}

namespace {

ColorSpacePtr defaultSpace(int colorComponents) {
  if (colorComponents == 1) return ColorSpace::named("generic gray");
  return colorComponents == 4 ? ColorSpace::named("device CMYK") : ColorSpace::sRGB();
}

uint64_t nextSerial() {
  static std::atomic<uint64_t> last{0};
  return ++last;
}

}  // namespace

Bitmap::Bitmap(const PixelLayout& layout, ColorSpacePtr space, std::shared_ptr<const void> owner,
               const uint8_t* bytes)
    : layout_(layout),
      space_(space ? std::move(space) : defaultSpace(layout.colorComponents())),
      owner_(std::move(owner)),
      bytes_(bytes),
      serial_(nextSerial()) {
  assert(layout_.alpha == AlphaInfo::only || space_->componentCount() == layout_.colorComponents());
}

Bitmap::Bitmap(const PixelLayout& layout, ColorSpacePtr space, const Data& data)
    : Bitmap(layout, std::move(space), std::make_shared<const Data>(data), data.data()) {}

}  // namespace vello
