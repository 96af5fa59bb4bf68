// Filtering along one axis, as the steps do it: every output sample is a weighted sum of consecutive input
// samples, added in ascending order, with weights that follow from absolute indices alone.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/filters/kernel_ops.h"

namespace vello {

struct IndexRange {
  int64_t begin = 0, end = 0;
  int64_t size() const { return end > begin ? end - begin : 0; }
};

class AxisStage {
 public:
  enum class Type { convolve, reduce, area, expand, resample, repeat };

  // out[o] = sum of weights[t] * in[o + offset + t]
  static AxisStage convolve(std::vector<double> weights, int64_t offset);
  // out[o] = sum of weights[t] * in[o * factor + offset + t]
  static AxisStage reduce(int factor, std::vector<double> weights, int64_t offset);
  // out[o] = the mean of what lies from o * width + origin to (o + 1) * width + origin, input t reaching from
  // t to t + 1.
  static AxisStage area(double width, double origin);
  // Back to a grid `factor` times finer, by the cubic B-spline or linearly.
  static AxisStage expand(int factor, bool cubic);
  // Output place x reads input place x / scale, `profile` being in units of the coarser grid.
  static AxisStage resample(const KernelOps* ops, const void* kernel, double scale, double outOrigin,
                            double outPitch, double inOrigin, double inPitch);
  // Output samples show the cell they lie in: input c is the cell from inOrigin + c * inPitch on. Edges
  // between cells run along those of pixels, or of output samples that are finer; coarser samples show the
  // mean.
  static AxisStage repeat(double outOrigin, double outPitch, double inOrigin, double inPitch);

  Type type() const { return type_; }
  int factor() const { return factor_; }
  // Every output has weights of its own.
  bool irregular() const { return type_ == Type::area || type_ == Type::resample || type_ == Type::repeat; }
  // Weights an output has.
  int count() const { return count_; }
  // Every input takes part in few outputs.
  bool coarser() const { return type_ == Type::reduce || type_ == Type::area; }
  // All outputs have the same weights, equal at both ends and inwards, and an odd number of them.
  bool symmetric() const;
  // At least nine of them, all equal but for the outermost two.
  bool flat() const;
  // Output o shows one cell alone, and output o + 1 the same.
  bool repeats(int64_t o) const;
  // The first input of output o, and its `count` weights.
  int64_t weigh(int64_t o, float* weights) const;
  IndexRange inputFor(const IndexRange& out) const;
  // Every output that any of these inputs takes part in; of convolve and reduce.
  IndexRange outputFor(const IndexRange& in) const;

 private:
  double edgeOf(int64_t cell) const;
  int64_t firstOf(int64_t o) const;
  double centreOf(int64_t o) const;

  Type type_ = Type::convolve;
  int factor_ = 1, count_ = 0;
  int64_t offset_ = 0;
  bool cubic_ = false;
  std::vector<float> weights_;
  const KernelOps* ops_ = nullptr;
  const void* kernel_ = nullptr;
  double scale_ = 1, outOrigin_ = 0, outPitch_ = 1, inOrigin_ = 0, inPitch_ = 1;
};

// One tap of a line: a sample offset and its weight.
struct LineTap {
  int di, dj;
  float weight;
  int part = 0;  // of which part the sample is
};

// A sum along a line. The taps of `whole` take sums along short pieces of the line, which the parts make of
// the input, and, as the part after the last one, the input itself.
struct LineSum {
  std::vector<std::vector<LineTap>> parts;
  std::vector<LineTap> whole;
};

// The window of an extreme kernel: so many samples to both sides of the middle, in the rows 0, 1, ... above
// and below it. They do not grow from one row to the next.
struct Chords {
  std::vector<int64_t> halves;
  bool greatest = false;
  int64_t height() const { return static_cast<int64_t>(halves.size()) - 1; }  // rows to either side
  bool rectangular() const { return halves.front() == halves.back(); }
};

Chords chordsOf(const KernelOps* ops, const void* kernel, double pitch);

// The stages of a separable kernel on samples `pitch` apart. A wide Gaussian goes to a coarser grid and back,
// unless `direct` asks for the plain sum, which then reaches to six sigma.
std::vector<AxisStage> separableStages(const KernelOps* ops, const void* kernel, double pitch, bool direct);
// A long line at an angle whose pieces can all be the same is put together from them, unless `direct` asks
// for the plain sum.
LineSum lineSum(const KernelOps* ops, const void* kernel, double pitch, bool direct);

}  // namespace vello
