#include "hosts/capi/host_pixels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "platform/pixel_layout.h"

namespace vello {
namespace {

constexpr size_t kLargest = std::numeric_limits<int32_t>::max();

bool fitsWholeNumbers(const HostPixels& p) {
  return p.width <= kLargest && p.height <= kLargest && p.bitsPerComponent <= 32 && p.bitsPerPixel <= 160 &&
         p.bytesPerRow <= static_cast<size_t>(std::numeric_limits<int64_t>::max());
}

// The space's number of colours, or what an RGB or grey picture of that many components has.
int colorsOf(const HostPixels& p, int components, AlphaInfo alpha) {
  if (p.space) return p.space->componentCount();
  if (alpha == AlphaInfo::only) return 0;
  return alpha == AlphaInfo::none && components != 2 ? components : components - 1;
}

// Bytes that are not as the layout's other fields say they lie.
std::string byteOrderProblem(uint32_t order, PixelLayout& layout) {
  const int bits = layout.bitsPerComponent;
  const bool little = order == kVelloByteOrder16Little || order == kVelloByteOrder32Little;
  const bool of16 = order == kVelloByteOrder16Little || order == kVelloByteOrder16Big;
  if (order > kVelloByteOrder32Big) return "unknown byte order " + std::to_string(order >> 12);
  layout.littleEndian = little && bits != 8;
  layout.pixelBytesReversed = little && bits == 8;
  if (order == kVelloByteOrderDefault) return "";
  if (bits == 16 ? of16 : !of16 && (bits == 32 || layout.componentsPerPixel == 4)) return "";
  return "the byte order " + std::to_string(order >> 12) + " does not fit components of " +
         std::to_string(bits) + " bits";
}

std::string problemOf(const HostPixels& p) {
  if (!fitsWholeNumbers(p)) return "the size is out of range";
  if (p.bitsPerComponent == 0 || p.bitsPerPixel % p.bitsPerComponent != 0)
    return std::to_string(p.bitsPerPixel) + " bits per pixel are no multiple of " +
           std::to_string(p.bitsPerComponent);
  if (p.bitmapInfo & ~uint32_t{kVelloAlphaMask | kVelloFloatComponents | kVelloByteOrderMask})
    return "unknown bits in the bitmap info";
  return "";
}

uint32_t load(const uint8_t* at, const PixelLayout& layout) {
  if (layout.bitsPerComponent == 8) return *at;
  return layout.littleEndian ? at[0] | at[1] << 8 : at[0] << 8 | at[1];
}

void store(uint8_t* at, uint32_t v, const PixelLayout& layout) {
  const auto low = static_cast<uint8_t>(v), high = static_cast<uint8_t>(v >> 8);
  if (layout.bitsPerComponent == 8) {
    at[0] = low;
  } else {
    at[0] = layout.littleEndian ? low : high;
    at[1] = layout.littleEndian ? high : low;
  }
}

void decodePixel(const PixelLayout& layout, const PixelOffsets& offsets, uint8_t* pixel,
                 const double* decode) {
  const double full = layout.bitsPerComponent == 8 ? 255 : 65535;
  for (int64_t c = 0; c < layout.colorComponents(); ++c) {
    uint8_t* at = pixel + offsets.color[static_cast<size_t>(c)];
    const double least = decode[2 * c], greatest = decode[2 * c + 1];
    const double v = least + load(at, layout) / full * (greatest - least);
    store(at, static_cast<uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * full)), layout);
  }
}

}  // namespace

LayoutOrError layoutOfHostPixels(const HostPixels& p) {
  LayoutOrError result;
  result.error = problemOf(p);
  if (!result.error.empty()) return result;
  PixelLayout& layout = result.layout;
  layout.width = static_cast<int64_t>(p.width);
  layout.height = static_cast<int64_t>(p.height);
  layout.bytesPerRow = static_cast<int64_t>(p.bytesPerRow);
  layout.bitsPerComponent = static_cast<int>(p.bitsPerComponent);
  layout.componentsPerPixel = static_cast<int>(p.bitsPerPixel / p.bitsPerComponent);
  layout.isFloat = p.bitmapInfo & kVelloFloatComponents;
  layout.alpha = static_cast<AlphaInfo>(p.bitmapInfo & kVelloAlphaMask);
  const int colors = colorsOf(p, layout.componentsPerPixel, layout.alpha);
  // A component that nothing describes is skipped.
  if (layout.alpha == AlphaInfo::none && layout.componentsPerPixel == colors + 1)
    layout.alpha = AlphaInfo::noneSkipLast;
  if (layout.alpha != AlphaInfo::only && layout.colorComponents() != colors)
    result.error = std::to_string(layout.componentsPerPixel) +
                   " components per pixel do not fit a colour space of " + std::to_string(colors);
  else
    result.error = byteOrderProblem(p.bitmapInfo & kVelloByteOrderMask, layout);
  return result;
}

uint32_t bitmapInfoOfLayout(const PixelLayout& layout) {
  uint32_t info = static_cast<uint32_t>(layout.alpha);
  if (layout.isFloat) info |= kVelloFloatComponents;
  if (layout.bitsPerComponent == 8) return layout.pixelBytesReversed ? info | kVelloByteOrder32Little : info;
  if (layout.bitsPerComponent == 16)
    return info | (layout.littleEndian ? kVelloByteOrder16Little : kVelloByteOrder16Big);
  return info | (layout.littleEndian ? kVelloByteOrder32Little : kVelloByteOrder32Big);
}

bool isIdentityDecode(const double* decode, int colorComponents) {
  for (int64_t c = 0; c < colorComponents; ++c)
    if (decode[2 * c] != 0 || decode[2 * c + 1] != 1) return false;
  return true;
}

Data decodedPixels(const PixelLayout& layout, const uint8_t* bytes, const double* decode) {
  const int64_t rowBytes = layout.width * layout.bytesPerPixel();
  const auto length = static_cast<size_t>(layout.bytesPerRow * (layout.height - 1) + rowBytes);
  std::vector<uint8_t> copy(bytes, bytes + length);
  const PixelOffsets offsets(layout);
  for (int64_t y = 0; y < layout.height && !layout.isFloat; ++y)
    for (int64_t x = 0; x < layout.width; ++x)
      decodePixel(layout, offsets,
                  &copy[static_cast<size_t>(y * layout.bytesPerRow + x * layout.bytesPerPixel())], decode);
  return Data(std::move(copy));
}

}  // namespace vello
