// What a rectangle of a program's root needs of every step.
#pragma once

#include <vector>

#include "engine/plan/program.h"

namespace vello {

struct Regions {
  std::vector<IndexRect> steps;               // the samples each step must compute
  std::vector<std::vector<IndexRect>> edges;  // the grid samples read along each edge of each step
  std::vector<int> users;                     // how many steps read each step's samples
  double samples = 0;                         // computed in all
  double peakBytes = 0;                       // held at once by an evaluation in order
};

// The moves of warps are computed here, so a region is exact whatever the formula. Ends early, with only
// peakBytes set, where one step alone would hold more than `mostBytes`.
Regions regionsFor(const Program& program, const IndexRect& out, double mostBytes);

// Ranges of an axis's stages for a range of outputs: the first is the input, the last the output.
std::vector<IndexRange> stageRanges(const std::vector<AxisStage>& stages, IndexRange out);

}  // namespace vello
