// Applies the stages of a separable step to rows of samples.
#pragma once

#include <vector>

#include "engine/plan/axis_stage.h"
#include "engine/render/buffer.h"

namespace vello {

// Runs all stages along x and y. `input` covers the first ranges (premultiplied); the result covers `out`.
Buffer filterAxes(const std::vector<AxisStage>& stagesX, const std::vector<AxisStage>& stagesY, Buffer input,
                  const IndexRect& out);

}  // namespace vello
