// What integer samples of a colour space can hold.
#pragma once

#include "engine/image/image.h"
#include "platform/color_space.h"

namespace vello {

// The image with its colour brought into the range of `space`, as writing it does. Its samples are light of
// the primaries of `working`; null: of sRGB.
CIImage withinRange(const CIImage& image, const ColorSpace& space, const ColorSpacePtr& working);

}  // namespace vello
