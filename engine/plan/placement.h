// Where along its edge a step reads.
#pragma once

#include "engine/plan/program.h"
#include "engine/render/row_loops.h"

namespace vello {

inline constexpr int kRunLength = 256;

// The places of samples [i, i + n) of row j, minus the step's anchor. `x` has room for n.
Places placesOf(const Step& step, int64_t j, int64_t i, int n, float* x, const RowLoops& loops);

// Grid coordinates of what n <= kRunLength samples of a sample or warp step read along its edge, and the
// factor on each.
struct GridRun {
  double u[kRunLength], v[kRunLength];
  float gain[kRunLength];
};
void gridRun(const Step& step, int64_t j, int64_t i, int n, InstructionSet set, GridRun& out);
// Of one move from the sample at (i, j).
struct GridPoint {
  double u, v;
};
// The same for a run of a zoom kernel's copy.
void gridRun(const Step& step, const ScaledCopy& copy, int64_t j, int64_t i, int n, InstructionSet set,
             GridRun& out);

GridPoint gridPoint(const Step& step, const GridEdge& edge, int64_t i, int64_t j, Move move);

// The grid samples that interpolating at u, v in these ranges reads.
IndexRect gridBox(const GridEdge& edge, double u0, double v0, double u1, double v1);

}  // namespace vello
