// A program and its passes, for a person to read.
#pragma once

#include <string>

#include "engine/plan/tiling.h"

namespace vello {

// One line a step, inputs first, with what is computed together and what is kept between.
std::string explanation(const Program& program, const Passes& passes, const Tiling& tiling,
                        const IndexRect& frame);

}  // namespace vello
