// How a RowEvaluator computes the samples of each kind of step, a run at a time.
#include <algorithm>
#include <cmath>

#include "engine/render/row_workspace.h"

namespace vello {
namespace {

constexpr int kMostImages = 4;

// Share of a sample's width that lies between two edges.
float covered(double centre, double pitch, double low, double high) {
  const double begin = std::max(centre - pitch / 2, low), end = std::min(centre + pitch / 2, high);
  return static_cast<float>(std::clamp((end - begin) / pitch, 0.0, 1.0));
}

// Fills n samples from i on with samples that exist in [low, high) only; beyond, the nearest is repeated.
template <class Read>
void repeatEdges(int64_t i, int64_t n, int64_t low, int64_t high, const Run& out, Read read) {
  const int64_t begin = std::clamp(i, low, high - 1), end = std::clamp(i + n, begin + 1, high);
  const int64_t before = std::clamp<int64_t>(begin - i, 0, n - 1), count = std::min(end - begin, n - before);
  read(begin, count, advanced(out, before));
  const Px first = out.get(static_cast<int>(before)), last = out.get(static_cast<int>(before + count - 1));
  for (int64_t k = 0; k < before; ++k) out.set(static_cast<int>(k), first);
  for (int64_t k = before + count; k < n; ++k) out.set(static_cast<int>(k), last);
}

// What interpolation along one axis reads: the sample before a place, and how far beyond it the place lies.
struct AxisPlace {
  int64_t index;
  float part;
  bool inside;
};

// The samples outside `low` and `high`, which count as transparent, are those before the first.
AxisPlace axisPlace(double u, double low, double high, int64_t first, double last) {
  if (!(u > low && u < high)) return {first, 0, false};
  const double before = std::clamp(std::floor(u), static_cast<double>(first), last);
  return {static_cast<int64_t>(before), static_cast<float>(u - before), true};
}

}  // namespace

// What nobody reads is left transparent: there, what a step reads itself may not be at hand.
void RowEvaluator::compute(const RunOp& op, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& r = regions_.steps[static_cast<size_t>(op.step)];
  const int64_t begin = std::clamp<int64_t>(r.x0 - i, 0, n), end = std::clamp<int64_t>(r.x1 - i, 0, n);
  if (j < r.y0 || j >= r.y1 || begin >= end) return clearRun(out, n);
  work_->shift = begin;
  computeInside(op, j, i + begin, static_cast<int>(end - begin), advanced(out, begin));
  clearRun(out, begin);
  clearRun(advanced(out, end), n - end);
}

// The samples of an input, from the first that is computed on.
Run RowEvaluator::input(const RunOp& op, size_t which) const {
  return advanced(work_->current[static_cast<size_t>(op.inputs[which])], work_->shift);
}

void RowEvaluator::computeInside(const RunOp& op, int64_t j, int64_t i, int n, const Run& out) {
  const Step& step = program_.steps[static_cast<size_t>(op.step)];
  const auto index = static_cast<size_t>(op.step);
  switch (step.op) {
    case Step::Op::empty:
    case Step::Op::axis:  // always kept: computed by its filter
      return clearRun(out, n);
    case Step::Op::sample:
      if (step.edges[0].exact) return texels(step, j, i, n, out);
      return step.followsRows() ? scaled(step, index, j, i, n, out) : moved(step, index, j, i, n, out);
    case Step::Op::stored:
      return step.store ? step.store->read(j, i, n, out) : stored(step.stored->samples, j, i, n, out);
    case Step::Op::crop:
      return cropped(op, step, j, i, n, out);
    case Step::Op::clamp:
      return clamped(step, j, i, n, out);
    case Step::Op::kernel:
      break;
  }
  switch (step.ops->kind) {
    case Kind::warp:
      return moved(step, index, j, i, n, out);
    case Kind::zoom:
      return zoomed(step, index, j, i, n, out);
    case Kind::taps:
      return tapped(op, step, j, i, n, out);
    case Kind::line:
      return lined(step, j, i, n, out);
    case Kind::area:
      return windowed(step, j, i, n, out);
    default:
      return coloured(op, step, j, i, n, out);
  }
}

// They reach as far as anybody asked; a run may go further.
void RowEvaluator::stored(const Buffer& samples, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& r = samples.rect();
  const int64_t begin = std::clamp<int64_t>(r.x0 - i, 0, n), end = std::clamp<int64_t>(r.x1 - i, 0, n);
  if (j < r.y0 || j >= r.y1 || begin >= end) return clearRun(out, n);
  clearRun(out, begin);
  copyRun(samples.at(i + begin, j), advanced(out, begin), end - begin);
  clearRun(advanced(out, end), n - end);
}

void RowEvaluator::texels(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const GridEdge& edge = step.edges[0];
  const IndexRect& v = edge.valid;
  const GridPoint corner = gridPoint(step, edge, i, j, {0, 0, 1});
  const auto column = static_cast<int64_t>(corner.u), row = static_cast<int64_t>(corner.v);
  if (edge.clamp) {
    const int64_t line = std::clamp(row, v.y0, v.y1 - 1);
    return repeatEdges(column, n, v.x0, v.x1, out, [&](int64_t first, int64_t count, const Run& to) {
      readTexels(*edge.source, line, first, static_cast<int>(count), to);
    });
  }
  const int64_t begin = std::clamp<int64_t>(v.x0 - column, 0, n),
                end = std::clamp<int64_t>(v.x1 - column, 0, n);
  if (row < v.y0 || row >= v.y1 || begin >= end) return clearRun(out, n);
  clearRun(out, begin);
  readTexels(*edge.source, row, column + begin, static_cast<int>(end - begin), advanced(out, begin));
  clearRun(advanced(out, end), n - end);
}

void RowEvaluator::readTexels(const TexelSource& source, int64_t j, int64_t i, int n, const Run& out) const {
  if (program_.encoded) return source.readLevel(0, j, i, n, out);
  source.readLinear(j, i, n, out);
}

// What lies at grid places along an edge.
void RowEvaluator::interpolate(const GridEdge& edge, const Samples& grid, const double* u, const double* v,
                               int n, const Run& out) {
  Workspace& w = *work_;
  const GridTaps taps{w.offsets, w.s, w.t, w.inside};
  loops_.gridTaps(u, v, grid.frame, taps, n);
  float* const planes[] = {out.r, out.g, out.b, out.a};
  loops_.interpolate(grid.samples, grid.stride, taps, planes, n);
  if (edge.encoded() && !program_.encoded) edge.source->linearize(n, out);
}

void RowEvaluator::scale(const Run& run, const float* gain, int n) const {
  if (loops_.allOnes(gain, n)) return;
  for (float* c : {run.r, run.g, run.b, run.a}) loops_.multiply(c, gain, n);
}

// A picture that is scaled and shifted, not turned.
void RowEvaluator::scaled(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  std::unique_ptr<RowPair>& pair = pairs_[index];
  if (!pair) pair = std::make_unique<RowPair>(step.edges[0], regions_.edges[index][0]);
  const GridRun& places = work_->places;
  gridRun(step, j, i, n, set_, work_->places);
  pair->moveTo(places.v[0], loops_);
  interpolate(step.edges[0], {pair->samples(), pair->stride(), pair->frame()}, places.u, places.v, n, out);
}

void RowEvaluator::moved(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  gridRun(step, j, i, n, set_, work_->places);
  interpolate(step.edges[0], samplesOf(grids_[index][0]), work_->places.u, work_->places.v, n, out);
  scale(out, work_->places.gain, n);
}

// Where every copy reads along a row: the same in all rows.
void RowEvaluator::layOut(const Step& step, size_t index) {
  const View<ScaledCopy> copies = step.ops->copies(step.kernel.get());
  const IndexRect& r = regions_.steps[index];
  const GridFrame& frame = grids_[index][0].frame();
  auto found = std::make_unique<Columns>();
  found->first = r.x0;
  found->width = static_cast<size_t>(r.width());
  for (int c = 0; c < copies.count; ++c)
    for (int64_t i = r.x0; i < r.x1; i += kRunLength) {
      const int n = static_cast<int>(std::min<int64_t>(kRunLength, r.x1 - i));
      gridRun(step, copies[c], r.y0, i, n, set_, work_->places);
      for (int k = 0; k < n; ++k) {
        const AxisPlace at = axisPlace(work_->places.u[k], frame.lowU, frame.highU, frame.x0, frame.lastI);
        found->offsets.push_back(static_cast<int32_t>(at.index - frame.x0));
        found->parts.push_back(at.part);
      }
    }
  columns_[index] = std::move(found);
}

void RowEvaluator::zoomed(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  if (!columns_[index]) layOut(step, index);
  Workspace& w = *work_;
  const Columns& columns = *columns_[index];
  const Grid& grid = grids_[index][0];
  const GridFrame& frame = grid.frame();
  float sums[4 * kRunLength] = {};
  const View<ScaledCopy> copies = step.ops->copies(step.kernel.get());
  for (int c = 0; c < copies.count; ++c) {
    gridRun(step, copies[c], j, i, 1, set_, w.places);
    const AxisPlace at = axisPlace(w.places.v[0], frame.lowV, frame.highV, frame.y0, frame.lastJ);
    if (!at.inside) continue;
    const float* below = grid.samples() + (at.index - frame.y0) * frame.stride * 4;
    const size_t first = static_cast<size_t>(c) * columns.width + static_cast<size_t>(i - columns.first);
    loops_.addBetween({below, below + frame.stride * 4, at.part, static_cast<float>(copies[c].weight)},
                      columns.offsets.data() + first, columns.parts.data() + first, sums, n);
  }
  float* const planes[] = {out.r, out.g, out.b, out.a};
  loops_.separate(sums, planes, n);
  loops_.snapToOne(out.a, n);
}

void RowEvaluator::tapped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Workspace& w = *work_;
  const auto count = static_cast<size_t>(step.ops->taps), images = step.edges.size();
  const Run driver = input(op, 0);
  const Places places = placesOf(step, j, i, n, w.x, loops_);
  const auto bound = static_cast<float>(std::min(step.bound, 1e30));
  // By tap: dx, dy and gain of every sample.
  w.moves.resize(count * 3 * kRunLength);
  std::vector<Move> moves(count);
  for (int k = 0; k < n; ++k) {
    step.ops->where(step.kernel.get(), places.at(k), driver.get(k), moves.data());
    for (size_t t = 0; t < count; ++t) {
      float* m = w.moves.data() + t * 3 * kRunLength + k;
      m[0] = clamp(moves[t].dx, -bound, bound);
      m[kRunLength] = clamp(moves[t].dy, -bound, bound);
      m[int64_t{2} * kRunLength] = moves[t].gain;
    }
  }
  w.found.resize(images * count * 4 * kRunLength);
  const auto found = [&](size_t e, size_t t) {
    return planesAt(w.found.data() + (e * count + t) * 4 * kRunLength, kRunLength);
  };
  const Lattice& l = step.lattice;
  for (size_t e = 0; e < images; ++e) {
    const CGAffineTransform& m = step.edges[e].toGrid;
    for (size_t t = 0; t < count; ++t) {
      const float* move = w.moves.data() + t * 3 * kRunLength;
      loops_.gridPlaces({{l.ox, static_cast<double>(i), l.pitch},
                         l.y(j),
                         move,
                         move + kRunLength,
                         m.a,
                         m.b,
                         m.c,
                         m.d,
                         m.tx,
                         m.ty},
                        w.places.u, w.places.v, n);
      interpolate(step.edges[e], samplesOf(grids_[static_cast<size_t>(op.step)][e]), w.places.u, w.places.v,
                  n, found(e, t));
      scale(found(e, t), move + int64_t{2} * kRunLength, n);
    }
  }
  std::vector<Px> samples(images * count);
  for (int k = 0; k < n; ++k) {
    for (size_t s = 0; s < samples.size(); ++s) samples[s] = found(s / count, s % count).get(k);
    out.set(k, step.ops->gather(step.kernel.get(), places.at(k), driver.get(k), samples.data()));
  }
}

void RowEvaluator::cropped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const Run in = input(op, 0);
  const Lattice& l = step.lattice;
  const CGRect& c = step.node->rect;
  const auto column = [&](int64_t k) {
    return covered(l.x(k), l.pitch, c.origin.x, c.origin.x + c.size.width);
  };
  const float row = covered(l.y(j), l.pitch, c.origin.y, c.origin.y + c.size.height);
  if (row == 1 && column(i) == 1 && column(i + n - 1) == 1) {
    if (in.r != out.r) copyRun(in, out, n);
    return;
  }
  for (int k = 0; k < n; ++k) {
    const float share = row * column(i + k);
    const Px p = in.get(k);
    out.set(k, step.straight ? Px{p.r, p.g, p.b, p.a * share} : p * share);
  }
}

void RowEvaluator::clamped(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& c = step.clampRect;
  const int64_t row = std::clamp(j, c.y0, c.y1 - 1);
  repeatEdges(i, n, c.x0, c.x1, out, [&](int64_t first, int64_t count, const Run& to) {
    copyRun(rowOf(step.inputs[0], row, first), to, count);
  });
}

void RowEvaluator::lined(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Workspace& w = *work_;
  for (auto& rows : w.rows) rows.clear();
  w.weights.clear();
  for (const LineTap& tap : step.line) {
    const Run row = rowOf(step.inputs[static_cast<size_t>(tap.part)], j + tap.dj, i + tap.di);
    w.rows[0].push_back(row.r), w.rows[1].push_back(row.g), w.rows[2].push_back(row.b),
        w.rows[3].push_back(row.a);
    w.weights.push_back(tap.weight);
  }
  float* const planes[] = {out.r, out.g, out.b, out.a};
  for (size_t c = 0; c < 4; ++c)
    loops_.weightedSum(w.rows[c].data(), w.weights.data(), static_cast<int>(w.weights.size()), planes[c], n);
  loops_.snapToOne(out.a, n);
}

void RowEvaluator::windowed(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  std::vector<Run>& window = work_->window;
  window.clear();
  for (int64_t dj = -step.rise; dj <= step.rise; ++dj) window.push_back(rowOf(step.inputs[0], j + dj, i));
  step.ops->loops[static_cast<int>(set_)].windows(step.kernel.get(), window.data() + step.rise, out, n);
}

void RowEvaluator::coloured(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Run in[kMostImages];
  for (size_t k = 0; k < step.inputs.size(); ++k)
    in[k] = op.inputs[k] >= 0 ? input(op, k) : work_->transparent();
  const Places places = step.ops->place ? placesOf(step, j, i, n, work_->x, loops_) : Places{work_->x, 0, 0};
  step.ops->loops[static_cast<int>(set_)].run(step.kernel.get(), in, places, out, n);
}

}  // namespace vello
