// Which steps are computed once, before all that reads them in no order, rather than anew for every tile.
#pragma once

#include "engine/plan/tiling.h"

namespace vello {

// What writing and reading samples costs, in samples of a plain colour formula. Those beyond `bytesInMemory`
// lie in a file.
double keepingWork(double samples, double bytesInMemory);

// In ascending order. A step is kept where writing and reading its samples costs clearly less than what the
// tiles would compute twice. `bytesInMemory`: samples beyond it lie in a file, which costs more.
std::vector<int> stepsToKeep(const Program& program, const Passes& passes, const IndexRect& frame,
                             const Tiling& tiling, double bytesInMemory, InstructionSet set);

}  // namespace vello
