#include "platform/image_codecs/image_codec.h"

#include <bit>
#include <cstring>

#include "platform/pixel_layout.h"

namespace vello {

namespace {

std::string sizeText(int64_t width, int64_t height) {
  return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

}  // namespace

std::string DecodedImage::setSize(const ImageLimits& limits, int64_t width, int64_t height, int bits,
                                  int colors, AlphaInfo alpha) {
  if (width <= 0 || height <= 0) return "it has no pixels";
  if (width > limits.side || height > limits.side) {
    return sizeText(width, height) + " are beyond the limit of " + std::to_string(limits.side) + " an axis";
  }
  int64_t area = 0, bytes = 0;
  layout = {.width = width,
            .height = height,
            .bitsPerComponent = bits,
            .componentsPerPixel = colors + (alpha == AlphaInfo::none ? 0 : 1),
            .alpha = alpha,
            .isFloat = bits == 32,
            .littleEndian = std::endian::native == std::endian::little};
  if (__builtin_mul_overflow(width, height, &area) || area > limits.pixels) {
    return sizeText(width, height) + " are beyond the limit of " + std::to_string(limits.pixels);
  }
  if (__builtin_mul_overflow(area, layout.bytesPerPixel(), &bytes) || bytes > limits.bytes) {
    return sizeText(width, height) + " need more than the limit of " + std::to_string(limits.bytes) +
           " bytes";
  }
  layout.bytesPerRow = width * layout.bytesPerPixel();
  info.width = width, info.height = height, info.bitsPerComponent = bits, info.hasAlpha = layout.hasAlpha();
  return {};
}

void DecodedImage::allocate() {
  pixels = std::make_shared_for_overwrite<uint8_t[]>(static_cast<size_t>(layout.bytesPerRow * layout.height));
}

RowPacker::RowPacker(const PixelLayout& layout, bool bigEndian) : layout_(layout) {
  const PixelOffsets places(layout);
  for (int k = 0; k < layout.colorComponents(); ++k) offsets_.push_back(places.color[static_cast<size_t>(k)]);
  if (layout.hasAlpha()) offsets_.push_back(places.alpha);
  constexpr bool kLittle = std::endian::native == std::endian::little;
  swap_ = layout.littleEndian == (bigEndian || !kLittle);
  inOrder_ = !(bits() == 16 && swap_);
  for (size_t i = 0; i < offsets_.size(); ++i) {
    inOrder_ = inOrder_ && offsets_[i] == static_cast<int64_t>(i) * bits() / 8;
  }
}

namespace {

// Whole pixels are copied, over whose last bytes the next one is written.
template <int kFrom, int kTo>
void leaveOutLastBytes(const uint8_t* row, int64_t width, uint8_t* to) {
  for (int64_t x = 1; x < width; ++x, row += kFrom, to += kTo) std::memcpy(to, row, kFrom);
  std::memcpy(to, row, kTo);
}

}  // namespace

void RowPacker::pack(const uint8_t* row, uint8_t* to) const {
  const int64_t step = layout_.bytesPerPixel(), packed = components() * bits() / 8;
  if (inOrder_ && packed == step) return void(std::memcpy(to, row, static_cast<size_t>(rowBytes())));
  if (inOrder_ && packed == 3 && step == 4) return leaveOutLastBytes<4, 3>(row, layout_.width, to);
  if (inOrder_ && packed == 6 && step == 8) return leaveOutLastBytes<8, 6>(row, layout_.width, to);
  const bool wide = bits() == 16;
  for (int64_t x = 0; x < layout_.width; ++x, row += step) {
    for (const int64_t offset : offsets_) {
      if (wide) {
        to[0] = row[offset + (swap_ ? 1 : 0)], to[1] = row[offset + (swap_ ? 0 : 1)];
        to += 2;
      } else {
        *to++ = row[offset];
      }
    }
  }
}

}  // namespace vello
