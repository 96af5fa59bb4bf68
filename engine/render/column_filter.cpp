#include "engine/render/column_filter.h"

#include <algorithm>

#include "engine/render/window_fold.h"

namespace vello {
namespace {

int64_t floorDiv(int64_t a, int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

}  // namespace

ColumnFilter::ColumnFilter(const AxisStage& stage, const IndexRange& out, const RowLoops& loops)
    : stage_(stage), out_(out), in_(stage.inputFor(out)), loops_(loops), symmetric_(stage.symmetric()) {
  const auto count = static_cast<size_t>(stage.count());
  const bool each = stage.irregular(), phases = stage.type() == AxisStage::Type::expand;
  const auto sets = static_cast<size_t>(each ? out.size() : phases ? stage.factor() : 1);
  weights_.resize(sets * count);
  first_.resize(sets);
  for (size_t s = 0; s < sets; ++s)
    first_[s] = stage.weigh((each ? out.begin : 0) + static_cast<int64_t>(s), weights_.data() + s * count);
  rows_.resize(count);
  if (stage.type() == AxisStage::Type::reduce)
    line_.resize(static_cast<size_t>((in_.size() / stage.factor() + 2) * stage.factor()));
  if (stage.flat()) line_.resize(static_cast<size_t>(in_.size()));
  if (phases) line_.resize(static_cast<size_t>(out.size() / stage.factor() + 2));
}

Alpha ColumnFilter::filter(const Run& in, const Run& out) {
  const bool opaque = loops_.allOnes(in.a, in_.size());
  plane(in.r, out.r);
  plane(in.g, out.g);
  plane(in.b, out.b);
  if (opaque) {
    std::fill_n(out.a, out_.size(), 1.0f);
    return Alpha::opaque;
  }
  plane(in.a, out.a);
  loops_.snapToOne(out.a, out_.size());
  return Alpha::mixed;
}

void ColumnFilter::plane(const float* in, float* out) {
  switch (stage_.type()) {
    case AxisStage::Type::convolve:
      return convolved(in, out);
    case AxisStage::Type::reduce:
      return reduced(in, out);
    case AxisStage::Type::expand:
      return expanded(in, out);
    case AxisStage::Type::area:
    case AxisStage::Type::resample:
      return resampled(in, out);
    case AxisStage::Type::repeat:
      return repeated(in, out);
  }
}

void ColumnFilter::convolved(const float* in, float* out) {
  if (stage_.flat()) return meant(in, out);
  for (size_t t = 0; t < rows_.size(); ++t) rows_[t] = in + t;
  (symmetric_ ? loops_.symmetricSum : loops_.weightedSum)(rows_.data(), weights_.data(), stage_.count(), out,
                                                          out_.size());
}

// What lies between the outermost two inputs is added by doubling.
void ColumnFilter::meant(const float* in, float* out) {
  const int64_t n = out_.size(), count = stage_.count();
  foldAlong(loops_.add, in + 1, count - 2, line_.data(), out, n);
  const float* const rows[] = {in, out, in + count - 1};
  const float weights[] = {weights_[0], weights_[1], weights_[0]};
  loops_.weightedSum(rows, weights, 3, out, n);
}

// Sorted by phase, the inputs of neighbouring outputs are neighbours.
void ColumnFilter::reduced(const float* in, float* out) {
  const int64_t factor = stage_.factor(), length = static_cast<int64_t>(line_.size()) / factor;
  for (int64_t p = 0; p < factor; ++p) {
    float* to = line_.data() + p * length;
    for (int64_t k = p, c = 0; k < in_.size(); k += factor, ++c) to[c] = in[k];
  }
  for (int64_t t = 0; t < stage_.count(); ++t)
    rows_[static_cast<size_t>(t)] = line_.data() + t % factor * length + t / factor;
  loops_.weightedSum(rows_.data(), weights_.data(), stage_.count(), out, out_.size());
}

void ColumnFilter::expanded(const float* in, float* out) {
  const int64_t factor = stage_.factor();
  for (int64_t p = 0; p < factor; ++p) {
    const int64_t cell = floorDiv(out_.begin - p + factor - 1, factor);  // the first whose output lies inside
    const int64_t begin = cell * factor + p;
    if (begin >= out_.end) continue;
    const int64_t n = (out_.end - 1 - begin) / factor + 1;
    const auto phase = static_cast<size_t>(p);
    for (size_t t = 0; t < rows_.size(); ++t)
      rows_[t] = in + (cell + first_[phase] - in_.begin) + static_cast<int64_t>(t);
    loops_.weightedSum(rows_.data(), weights_.data() + phase * rows_.size(), stage_.count(), line_.data(), n);
    float* to = out + (begin - out_.begin);
    for (int64_t k = 0; k < n; ++k) to[k * factor] = line_[static_cast<size_t>(k)];
  }
}

// Output number k.
float ColumnFilter::weighed(const float* in, size_t k) const {
  const size_t count = rows_.size();
  const float* from = in + (first_[k] - in_.begin);
  const float* weights = weights_.data() + k * count;
  float sum = 0;
  for (size_t t = 0; t < count; ++t) sum += weights[t] * from[t];
  return sum;
}

void ColumnFilter::resampled(const float* in, float* out) const {
  for (size_t k = 0; k < first_.size(); ++k) out[k] = weighed(in, k);
}

// All outputs inside one cell are the same.
void ColumnFilter::repeated(const float* in, float* out) const {
  const size_t count = rows_.size();
  for (size_t k = 0; k < first_.size();) {
    size_t end = k;
    while (end < first_.size() && first_[end] == first_[k] && weights_[end * count] == 1) ++end;
    if (end > k) std::fill(out + k, out + end, in[first_[k] - in_.begin]);
    if (end == k) out[k] = weighed(in, end++);
    k = end;
  }
}

}  // namespace vello
