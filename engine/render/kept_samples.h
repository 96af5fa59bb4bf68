// Samples of a recipe that a later render can read instead of computing them.
#pragma once

#include "engine/image/digest.h"
#include "engine/render/buffer.h"

namespace vello {

struct KeptSamples {
  Digest recipe;
  Lattice lattice;
  bool straight = false;  // straight colour
  Buffer samples;
};

}  // namespace vello
