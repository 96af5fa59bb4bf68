// What a rectangle of a program's root needs of every step.
#pragma once

#include <vector>

#include "engine/plan/program.h"

namespace vello {

struct Regions {
  std::vector<IndexRect> steps;               // the samples each step must compute
  std::vector<std::vector<IndexRect>> edges;  // the grid samples read along each edge of each step
  double samples = 0;  // computed and decoded in all; infinite where a region cannot be told
  double work = 0;     // the same, in samples of a plain colour formula
};

// Finding out more moves would take seconds, and a render that needs them is refused for its size anyway
// unless the machine is very large.
inline constexpr double kMostMoves = 1e8;

// The moves of warps are computed here, so a region is exact whatever the formula; but for warps that are
// left when `mostMoves` are computed: those ask for all of their input.
Regions regionsFor(const Program& program, const IndexRect& out, InstructionSet set,
                   double mostMoves = kMostMoves);

// What a sample of a step costs, in samples of a plain colour formula.
double workOf(const Step& step);

// What a sample of the root costs in all steps, where all is computed once. `texels`: reading bitmaps counts.
double workPerSample(const Program& program, bool texels);

// What samples `r` of an axis step take of its input.
IndexRect filteredRegion(const Step& step, const IndexRect& r);

}  // namespace vello
