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

// The sums for a range of outputs.
struct AxisPass {
  IndexRange out, in;
  int count = 0;               // weights an output
  bool uniform = false;        // all outputs share one set, and input follows output by one
  std::vector<int64_t> first;  // first input of each output
  std::vector<float> weights;  // one set, or one an output
  const float* weightsOf(int64_t k) const { return weights.data() + (uniform ? 0 : k * count); }
};

class AxisStage {
 public:
  // out[o] = sum of weights[t] * in[o + offset + t]
  static AxisStage convolve(std::vector<double> weights, int64_t offset);
  // out[o] = sum of weights[t] * in[o * factor + offset + t]
  static AxisStage reduce(int factor, std::vector<double> weights, int64_t offset);
  // Back to a grid `factor` times finer, by the cubic B-spline or linearly.
  static AxisStage expand(int factor, bool cubic);
  // Output place x reads input place x / scale, `profile` being in units of the coarser grid.
  static AxisStage resample(const KernelOps* ops, const void* kernel, double scale, double outOrigin,
                            double outPitch, double inOrigin, double inPitch);

  IndexRange inputFor(const IndexRange& out) const;
  AxisPass pass(const IndexRange& out) const;

 private:
  enum class Type { weighted, expand, resample };
  void weigh(int64_t o, int64_t& first, float* weights) const;

  Type type_ = Type::weighted;
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
};

// The weights of a profile on samples `pitch` apart, from -n to n, summing to 1.
std::vector<double> profileWeights(const KernelOps* ops, const void* kernel, double pitch);
// The stages of a separable kernel on samples `pitch` apart. A wide Gaussian goes to a coarser grid and back.
std::vector<AxisStage> separableStages(const KernelOps* ops, const void* kernel, double pitch);
std::vector<LineTap> lineTaps(const KernelOps* ops, const void* kernel, double pitch);

}  // namespace vello
