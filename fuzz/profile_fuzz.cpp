// Any bytes as an ICC profile: opened, and its colours converted both ways.
#include <cmath>
#include <cstdlib>

#include "platform/color_space.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const vello::ColorSpacePtr space = vello::ColorSpace::fromProfile({data, size});
  if (!space) return 0;
  const float components[8] = {0, 0.5f, 1, 0.25f, 0.9f, 0.1f, 0.3f, 0.7f};
  float light[6], back[8];
  space->toLinear(components, light, 2);
  for (const float value : light) {
    if (std::isnan(value)) std::abort();
  }
  if (!space->isMatrix()) return 0;
  space->fromLinear(light, back, 2);
  for (int i = 0; i <= 16; ++i) space->encode(0, space->decode(0, i / 16.0));
  return 0;
}
