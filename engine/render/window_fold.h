// Sums and extremes of windows by doubling: a window of 2n samples is two of n. Where a window lies does not
// change how its samples are put together.
#pragma once

#include <vector>

#include "engine/render/row_loops.h"
#include "engine/render/row_ring.h"

namespace vello {

using FoldLoop = RowLoops::Fold;

// out[k] = in[k] to in[k + length - 1] folded, for k below n. `scratch` holds n + length samples.
void foldAlong(FoldLoop fold, const float* in, int64_t length, float* scratch, float* out, int64_t n);

// `fold` on all four channels.
void foldRuns(FoldLoop fold, const Run& a, const Run& b, const Run& out, int64_t n);

// Folds windows of consecutive rows, which come from the top down.
class RowsFold {
 public:
  // Windows of `length` rows of `width` samples.
  RowsFold(FoldLoop fold, int64_t length, int64_t width);
  // Room for the next row; `added` says that it is filled. The lowest `length` + 2 rows are kept.
  Run next(int64_t row) { return levels_[0].add(row, row + length_ + 1); }
  void added(int64_t row);
  Run at(int64_t row) const { return levels_[0].at(row); }
  // The window whose lowest row is `row`: the one added last, or the one above it.
  void make(int64_t row, const Run& out) const;
  double bytes() const;

 private:
  const FoldLoop fold_;
  const int64_t length_, width_;
  std::vector<RowRing> levels_;  // level k: windows of 2^k rows, by their lowest
};

}  // namespace vello
