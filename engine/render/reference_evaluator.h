// The plain evaluator: whole rectangles, one sample after the other, sums in double. All others are checked
// against it. Its program must be a direct one.
#pragma once

#include "engine/plan/regions.h"

namespace vello {

// The root's samples in premultiplied colour; its rectangle is what the regions ask of the root.
Buffer evaluateReference(const Program& program, const Regions& regions);

}  // namespace vello
