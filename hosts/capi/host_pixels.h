// Pixels as a host describes them, made into ours and back.
#pragma once

#include <optional>
#include <string>

#include "hosts/capi/objects.h"

namespace vello {

// The numbers of KP_CGImageCreate.
struct HostPixels {
  size_t width, height, bitsPerComponent, bitsPerPixel, bytesPerRow;
  const ColorSpace* space;  // null: by the number of components
  uint32_t bitmapInfo;
};

struct LayoutOrError {
  PixelLayout layout;
  std::string error;  // empty on success
};

// Says nothing of how many bytes there are: checkLayout does.
LayoutOrError layoutOfHostPixels(const HostPixels& pixels);
// The bitmap info that describes a layout.
uint32_t bitmapInfoOfLayout(const PixelLayout& layout);
// A copy with every integer colour component v of its full scale 0..1 replaced by least + v * (greatest -
// least), clamped; `decode` holds least and greatest of every colour component. Float components stay.
Data decodedPixels(const PixelLayout& layout, const uint8_t* bytes, const double* decode);
// Whether `decode` changes nothing.
bool isIdentityDecode(const double* decode, int colorComponents);

}  // namespace vello
