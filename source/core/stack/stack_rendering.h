// How one box of the stack acts on the image below it.
#pragma once

#include "source/core/stack/KPFilterBoxController.h"

namespace vello {

// `image` over `background`. Raises what building the recipe raises.
CIImage compositedOver(const CIImage& image, const CIImage& background);
// The image above `box` when `image` lies below it; nil when its filter yields none. Sets the filter's input
// images. Raises what building the recipe raises.
CIImage outputOfBox(const KPFilterBoxController& box, const CIImage& image, const CGRect& baseExtent);

}  // namespace vello
