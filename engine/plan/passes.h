// Fusion: which steps of a program keep rows of samples, and the runs of steps that are computed together
// between them, one short run of samples at a time.
#pragma once

#include <vector>

#include "engine/plan/program.h"

namespace vello {

// One operation of a pass. Its values live in numbered slots, each a run of samples.
struct RunOp {
  enum class Type { load, compute, straighten, premultiply };
  Type type = Type::compute;
  int step = -1;  // load: whose kept rows are read; compute: what is computed
  int slot = -1;  // of the result
  int inputs[4] = {-1, -1, -1, -1};
};

// How a pass reads the rows that another step keeps.
struct Reader {
  enum class Way {
    same,    // the row it makes
    window,  // `reach` rows to either side as well
    clamp,   // the nearest row of a clamp's rectangle
    axis,    // one after the other
    grid,    // all that an edge reads, before the first
  };
  int step = -1;
  Way way = Way::same;
  int by = -1;    // the step that reads
  int edge = -1;  // grid: along which of its edges
};

// Makes the premultiplied samples of a step.
struct Pass {
  int step = -1;
  std::vector<RunOp> ops;  // in order; none for an axis step, which filters the rows of its input
  int slots = 0;
  std::vector<Reader> readers;
  std::vector<int> moving;  // the steps that interpolate
};

struct Passes {
  std::vector<Pass> list;   // inputs before their users; the last one makes the root's samples and keeps none
  std::vector<int> keptBy;  // for every step the pass that keeps its rows, or -1
  int fused = 0;            // steps that keep nothing
};

// Notes in the steps which of them keep rows: they do so in every part of the program, so that a part has the
// same bits.
void noteKept(Program& program, const Passes& passes);

// `straight`: the root's samples are wanted as straight colour.
Passes fusePasses(const Program& program, bool straight = false);

}  // namespace vello
