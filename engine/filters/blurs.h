// Blurs that other filters are composed of.
#pragma once

#include "engine/image/image.h"

namespace vello {

// A Gaussian of `sigma` image units; the image itself for 0 and below. Its extent grows by three sigma.
CIImage gaussianBlur(const CIImage& image, double sigma);

}  // namespace vello
