#pragma once

#include "platform/image_codecs/image_codec.h"

namespace vello {

// Turns and mirrors the pixels as the orientation says (Exif 2.3, tag 0x0112) and sets it to 1.
void applyOrientation(DecodedImage& image);

// The layout of a picture stored in that layout and orientation as it is shown.
PixelLayout turnedLayout(const PixelLayout& stored, int orientation);
// A rectangle of the shown picture, rows and columns counted from its top left.
struct PixelRect {
  int64_t left, top, right, bottom;
};
// Copies the rectangle from a stored picture's pixels into the shown picture's.
void copyTurned(const uint8_t* stored, const PixelLayout& layout, int orientation, const PixelRect& part,
                uint8_t* shown);

}  // namespace vello
