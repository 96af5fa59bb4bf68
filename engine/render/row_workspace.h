// What a RowEvaluator works with.
#pragma once

#include "engine/plan/placement.h"
#include "engine/render/buffer.h"
#include "engine/render/row_evaluator.h"

namespace vello {

inline Run planesAt(float* p, int64_t stride) { return {p, p + stride, p + 2 * stride, p + 3 * stride}; }

// Where the copies of a zoom kernel read, copy by copy.
struct RowEvaluator::Columns {
  int64_t first;
  size_t width;
  std::vector<int32_t> offsets;
  std::vector<float> parts;
};

// The rows of a step that are still read.
struct RowEvaluator::Kept {
  const Pass* pass;
  size_t index;        // of the pass
  IndexRect region;    // what is computed
  IndexRange columns;  // what readers see: transparent beyond the region
  RowRing ring;
  int64_t next;                      // the row to be made next
  std::vector<int64_t> wanted;       // by reader: the highest row it will still read
  std::unique_ptr<AxisRows> filter;  // of an axis step
  int64_t filterNext = 0;            // the row it takes next
};

struct RowEvaluator::Workspace {
  std::vector<float> slotSamples;
  std::vector<Run> slots;    // of kRunLength samples
  std::vector<Run> current;  // where each slot's value lies
  std::vector<float> zeros;  // a transparent row, and as much before it as windows reach
  int64_t reach = 0;
  int64_t shift = 0;                     // of the samples being computed, in their run
  std::vector<std::vector<Kept*>> read;  // by pass and reader: what it reads, or null where that is empty
  std::vector<std::vector<size_t>> readerIndex;
  float x[kRunLength] = {};  // also what a kernel that reads no place is given
  GridRun places;
  int32_t offsets[kRunLength];
  float s[kRunLength], t[kRunLength], inside[kRunLength];
  std::vector<float> moves, found;  // of taps
  std::vector<const float*> rows[4];
  std::vector<float> weights;
  std::vector<Run> window;

  Run transparent() {
    float* p = zeros.data() + reach;
    return {p, p, p, p};
  }
};

// Samples [i, ...) of a kept row; transparent outside what is computed. Inline, so that the pointers are
// stored but once.
inline Run RowEvaluator::rowOf(int step, int64_t j, int64_t i) const {
  const int by = passes_.keptBy[static_cast<size_t>(step)];
  const Kept* kept = by < 0 ? nullptr : kept_[static_cast<size_t>(by)].get();
  if (!kept || j < kept->region.y0 || j >= kept->region.y1) return work_->transparent();
  return advanced(kept->ring.at(j), i - kept->columns.begin);
}

}  // namespace vello
