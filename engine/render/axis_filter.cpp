#include "engine/render/axis_filter.h"

#include "engine/plan/regions.h"

namespace vello {
namespace {

void addScaled(const float* in, float w, float* out, int64_t n) {
  for (int64_t k = 0; k < n; ++k) out[k] += w * in[k];
}

void addScaled(const Run& in, float w, const Run& out, int64_t n) {
  addScaled(in.r, w, out.r, n);
  addScaled(in.g, w, out.g, n);
  addScaled(in.b, w, out.b, n);
  addScaled(in.a, w, out.a, n);
}

void filterRow(const AxisPass& pass, const float* in, float* out) {
  const int64_t n = pass.out.size();
  if (pass.uniform) {
    for (int t = 0; t < pass.count; ++t) addScaled(in + t, pass.weights[static_cast<size_t>(t)], out, n);
    return;
  }
  for (int64_t k = 0; k < n; ++k) {
    const float* source = in + (pass.first[static_cast<size_t>(k)] - pass.in.begin);
    const float* weights = pass.weightsOf(k);
    float sum = 0;
    for (int t = 0; t < pass.count; ++t) sum += weights[t] * source[t];
    out[k] = sum;
  }
}

Buffer alongX(const AxisStage& stage, const Buffer& in, const IndexRange& range) {
  const AxisPass pass = stage.pass(range);
  Buffer out({range.begin, in.rect().y0, range.end, in.rect().y1});
  out.clear();
  for (int64_t j = in.rect().y0; j < in.rect().y1; ++j) {
    const Run from = in.at(pass.in.begin, j), to = out.at(range.begin, j);
    filterRow(pass, from.r, to.r);
    filterRow(pass, from.g, to.g);
    filterRow(pass, from.b, to.b);
    filterRow(pass, from.a, to.a);
  }
  return out;
}

Buffer alongY(const AxisStage& stage, const Buffer& in, const IndexRange& range) {
  const AxisPass pass = stage.pass(range);
  Buffer out({in.rect().x0, range.begin, in.rect().x1, range.end});
  out.clear();
  for (int64_t k = 0; k < range.size(); ++k) {
    const Run to = out.at(in.rect().x0, range.begin + k);
    for (int t = 0; t < pass.count; ++t)
      addScaled(in.at(in.rect().x0, pass.first[static_cast<size_t>(k)] + t), pass.weightsOf(k)[t], to,
                in.rect().width());
  }
  return out;
}

}  // namespace

Buffer filterAxes(const std::vector<AxisStage>& stagesX, const std::vector<AxisStage>& stagesY, Buffer input,
                  const IndexRect& out) {
  const auto x = stageRanges(stagesX, {out.x0, out.x1}), y = stageRanges(stagesY, {out.y0, out.y1});
  Buffer now = std::move(input);
  for (size_t k = 0; k < stagesX.size(); ++k) {
    now = alongX(stagesX[k], now, x[k + 1]);
    now = alongY(stagesY[k], now, y[k + 1]);
  }
  return now;
}

}  // namespace vello
