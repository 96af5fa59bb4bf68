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
  bool exact = true;   // all moves of warps were looked at
};

// Which moves of warps are computed to know what they read.
struct MovesLookedAt {
  // More would take seconds, and a render that needs them is refused for its size anyway unless the machine
  // is very large. Warps whose turn comes later ask for all of their input.
  double most = 1e8;
  // Of every warp; where it has more, some between are skipped, and taken to reach a little further.
  int64_t rows = INT64_MAX;
};

// Exact whatever the formula of a warp, where all of its moves are looked at.
Regions regionsFor(const Program& program, const IndexRect& out, InstructionSet set,
                   const MovesLookedAt& moves = {});

// What a sample of a step costs, in samples of a plain colour formula.
double workOf(const Step& step);

// What a sample of the root costs in all steps, where all is computed once. `texels`: reading bitmaps counts.
double workPerSample(const Program& program, bool texels);

// What samples `r` of an axis step take of its input.
IndexRect filteredRegion(const Step& step, const IndexRect& r);

}  // namespace vello
