// Pixels as a host or a file gave them: bytes, their layout and their colour space. Row 0 is the top row.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/color_space.h"
#include "platform/data.h"

namespace vello {

// Where alpha lies and whether colour is premultiplied; the values are those of the C interface.
enum class AlphaInfo : uint32_t {
  none = 0,
  premultipliedLast = 1,
  premultipliedFirst = 2,
  last = 3,
  first = 4,
  noneSkipLast = 5,
  noneSkipFirst = 6,
  only = 7,
};

struct PixelLayout {
  int64_t width = 0, height = 0;
  int bitsPerComponent = 8;    // 8, 16, or 32 (float)
  int componentsPerPixel = 4;  // colour components and the alpha or skipped one
  int64_t bytesPerRow = 0;
  AlphaInfo alpha = AlphaInfo::premultipliedLast;
  bool isFloat = false;
  bool littleEndian = true;         // of 16- and 32-bit components
  bool pixelBytesReversed = false;  // 8-bit components: each pixel's bytes lie in reverse order (BGRA is
                                    // premultipliedFirst reversed)

  int colorComponents() const;  // without the alpha or skipped one
  int64_t bytesPerPixel() const { return int64_t{bitsPerComponent} / 8 * componentsPerPixel; }
  bool hasAlpha() const {
    return alpha != AlphaInfo::none && alpha != AlphaInfo::noneSkipLast && alpha != AlphaInfo::noneSkipFirst;
  }
  bool premultiplied() const {
    return alpha == AlphaInfo::premultipliedLast || alpha == AlphaInfo::premultipliedFirst;
  }
  bool alphaFirst() const {  // or the skipped component
    return alpha == AlphaInfo::premultipliedFirst || alpha == AlphaInfo::first ||
           alpha == AlphaInfo::noneSkipFirst;
  }
};

// What is wrong with a layout over `byteCount` bytes, or nothing. All size arithmetic is checked.
std::optional<std::string> checkLayout(const PixelLayout& layout, size_t byteCount);

// Immutable; copies share the bytes.
class Bitmap {
 public:
  Bitmap() = default;  // no pixels
  // Requires a layout that checkLayout passes and a space of as many components. A null space means sRGB,
  // generic grey or device CMYK, as the number of colour components says.
  // `owner` keeps `bytes` alive.
  Bitmap(const PixelLayout& layout, ColorSpacePtr space, std::shared_ptr<const void> owner,
         const uint8_t* bytes);
  Bitmap(const PixelLayout& layout, ColorSpacePtr space, const Data& data);

  bool empty() const { return bytes_ == nullptr; }
  int64_t width() const { return layout_.width; }
  int64_t height() const { return layout_.height; }
  const PixelLayout& layout() const { return layout_; }
  const ColorSpacePtr& space() const { return space_; }
  const uint8_t* row(int64_t y) const { return bytes_ + y * layout_.bytesPerRow; }
  uint64_t serial() const {
    return serial_;
  }  // differs for every bitmap made in this process; equal in copies

 private:
  PixelLayout layout_;
  ColorSpacePtr space_;
  std::shared_ptr<const void> owner_;
  const uint8_t* bytes_ = nullptr;
  uint64_t serial_ = 0;
};

}  // namespace vello
