#pragma once

#include "platform/image_codecs/image_codec.h"

namespace vello {

// Turns and mirrors the pixels as the orientation says (Exif 2.3, tag 0x0112) and sets it to 1.
void applyOrientation(DecodedImage& image);

}  // namespace vello
