// One axis stage along a row.
#pragma once

#include <vector>

#include "engine/plan/axis_stage.h"
#include "engine/render/row_loops.h"

namespace vello {

// What is known of a row's alpha: all 0, all 1, or neither.
enum class Alpha : char { clear, opaque, mixed };

class ColumnFilter {
 public:
  // For outputs `out`; `stage` must outlive it.
  ColumnFilter(const AxisStage& stage, const IndexRange& out, const RowLoops& loops);
  // `in` begins at the first input of the range. Alpha that is 1 throughout stays 1.
  Alpha filter(const Run& in, const Run& out);

 private:
  void plane(const float* in, float* out);
  void convolved(const float* in, float* out);
  void meant(const float* in, float* out);
  void reduced(const float* in, float* out);
  void expanded(const float* in, float* out);
  void resampled(const float* in, float* out) const;
  void repeated(const float* in, float* out) const;
  float weighed(const float* in, size_t k) const;

  const AxisStage& stage_;
  const IndexRange out_, in_;
  const RowLoops& loops_;
  const bool symmetric_;
  std::vector<float> weights_;  // one set; a set a phase (expand); a set an output (resample)
  std::vector<int64_t> first_;  // of each phase relative to its cell; of each output
  std::vector<const float*> rows_;
  std::vector<float> line_;  // phases of a row, one after the other
};

}  // namespace vello
