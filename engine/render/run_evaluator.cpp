// The renderer's everyday evaluator: planar runs along the rows.
#include "engine/render/axis_filter.h"
#include "engine/render/evaluator.h"
#include "engine/render/interpolation.h"
#include "engine/render/row_reader.h"

namespace vello {
namespace {

// Samples of a sample or warp step: `n` at most kRunLength.
void sampleRun(const GridEdge& edge, const Buffer& grid, const GridRun& places, const Run& out, int n) {
  for (int k = 0; k < n; ++k) out.set(k, interpolate(edge, grid, places.u[k], places.v[k]));
  if (edge.source) edge.source->linearize(n, out);
  for (int k = 0; k < n; ++k)
    if (places.gain[k] != 1) out.set(k, out.get(k) * places.gain[k]);
}

// Share of a sample's width that lies between two edges.
float covered(double centre, double pitch, double low, double high) {
  const double begin = std::max(centre - pitch / 2, low), end = std::min(centre + pitch / 2, high);
  return static_cast<float>(std::clamp((end - begin) / pitch, 0.0, 1.0));
}

class RunEvaluator : public Evaluator {
 public:
  using Evaluator::Evaluator;

 private:
  void compute(const Step& step, size_t index, Buffer& out) override {
    switch (step.op) {
      case Step::Op::empty:
        return out.clear();
      case Step::Op::sample:
        return step.edges[0].exact ? copyTexels(step, out) : sample(step, index, out);
      case Step::Op::crop:
        return cropped(step, out);
      case Step::Op::clamp:
        return clampedEdges(step, out);
      case Step::Op::expand:
        return staged(step, out);
      case Step::Op::kernel:
        return kernel(step, index, out);
    }
  }

  void kernel(const Step& step, size_t index, Buffer& out) {
    switch (step.ops->kind) {
      case Kind::warp:
        return sample(step, index, out);
      case Kind::taps:
        return tapped(step, index, out);
      case Kind::separable:
      case Kind::resample:
        return staged(step, out);
      case Kind::line:
        return lined(step, out);
      case Kind::area:
        return windowed(step, out);
      default:
        return coloured(step, out);
    }
  }

  Buffer gridOf(const GridEdge& edge, const IndexRect& box) const {
    if (edge.source) return gatherGrid(edge, box, nullptr, false);
    return gatherGrid(edge, box, &samples(edge.step), isStraight(edge.step));
  }

  void copyTexels(const Step& step, Buffer& out) {
    const GridEdge& edge = step.edges[0];
    const IndexRect& r = out.rect();
    out.clear();
    const GridPoint corner = gridPoint(step, edge, r.x0, r.y0, {0, 0, 1});
    const auto di = static_cast<int64_t>(corner.u) - r.x0, dj = static_cast<int64_t>(corner.v) - r.y0;
    const IndexRect& v = edge.valid;
    for (int64_t j = r.y0; j < r.y1; ++j) {
      if (edge.clamp) {
        const int64_t row = std::clamp(j + dj, v.y0, v.y1 - 1);
        repeatEdges(r.x0, r.x1, v.x0 - di, v.x1 - di, out.at(r.x0, j),
                    [&](int64_t i, int64_t n, const Run& to) {
                      edge.source->readLinear(row, i + di, static_cast<int>(n), to);
                    });
        continue;
      }
      const int64_t begin = std::max(r.x0, v.x0 - di), end = std::min(r.x1, v.x1 - di);
      if (j + dj < v.y0 || j + dj >= v.y1 || begin >= end) continue;
      edge.source->readLinear(j + dj, begin + di, static_cast<int>(end - begin), out.at(begin, j));
    }
  }

  // Fills [x0, x1) of a row with samples that exist in [low, high) only; beyond, the nearest is repeated.
  template <class Read>
  static void repeatEdges(int64_t x0, int64_t x1, int64_t low, int64_t high, const Run& out, Read read) {
    const int64_t begin = std::clamp(x0, low, high - 1), end = std::clamp(x1, begin + 1, high);
    const Run inner = advanced(out, std::clamp<int64_t>(begin - x0, 0, x1 - x0 - 1));
    const int64_t n = std::min(end - begin, x1 - x0);
    read(begin, n, inner);
    const Px first = inner.get(0), last = inner.get(static_cast<int>(n - 1));
    for (int64_t i = x0; i < x1; ++i) {
      if (i < begin) out.set(static_cast<int>(i - x0), first);
      if (i >= begin + n) out.set(static_cast<int>(i - x0), last);
    }
  }

  void sample(const Step& step, size_t index, Buffer& out) {
    const GridEdge& edge = step.edges[0];
    const Buffer grid = gridOf(edge, regions_.edges[index][0]);
    GridRun places;
    forRuns(out.rect(), [&](int64_t j, int64_t i, int n) {
      gridRun(step, j, i, n, places);
      sampleRun(edge, grid, places, out.at(i, j), n);
    });
  }

  template <class Body>
  static void forRuns(const IndexRect& r, Body body) {
    for (int64_t j = r.y0; j < r.y1; ++j)
      for (int64_t i = r.x0; i < r.x1; i += kRunLength)
        body(j, i, static_cast<int>(std::min<int64_t>(kRunLength, r.x1 - i)));
  }

  Run input(const Step& step, size_t which, int64_t j, int64_t i, int64_t n, bool straight,
            const Run& scratch) const {
    const int from = step.inputs[which];
    return readRow(samples(from), isStraight(from), j, i, n, straight, scratch);
  }

  void cropped(const Step& step, Buffer& out) {
    const Lattice& l = step.lattice;
    const CGRect& c = step.node->rect;
    Scratch scratch(kRunLength);
    forRuns(out.rect(), [&](int64_t j, int64_t i, int n) {
      const Run in = input(step, 0, j, i, n, step.straight, scratch.run()), to = out.at(i, j);
      const float row = covered(l.y(j), l.pitch, c.origin.y, c.origin.y + c.size.height);
      for (int k = 0; k < n; ++k) {
        const float share = row * covered(l.x(i + k), l.pitch, c.origin.x, c.origin.x + c.size.width);
        const Px p = in.get(k);
        to.set(k, step.straight ? Px{p.r, p.g, p.b, p.a * share} : p * share);
      }
    });
  }

  void clampedEdges(const Step& step, Buffer& out) {
    const IndexRect &r = out.rect(), &c = step.clampRect;
    for (int64_t j = r.y0; j < r.y1; ++j) {
      const int64_t row = std::clamp(j, c.y0, c.y1 - 1);
      repeatEdges(r.x0, r.x1, c.x0, c.x1, out.at(r.x0, j), [&](int64_t i, int64_t n, const Run& to) {
        const Run in = input(step, 0, row, i, n, step.straight, to);
        if (in.r != to.r) copyRun(in, to, n);
      });
    }
  }

  // The input's samples in a rectangle, premultiplied.
  Buffer padded(const Step& step, const IndexRect& r) const {
    Buffer copy(r);
    for (int64_t j = r.y0; j < r.y1; ++j) {
      const Run to = copy.at(r.x0, j), in = input(step, 0, j, r.x0, r.width(), false, to);
      if (in.r != to.r) copyRun(in, to, r.width());
    }
    return copy;
  }

  void staged(const Step& step, Buffer& out) {
    const IndexRect& r = out.rect();
    const IndexRange x = stageRanges(step.stagesX, {r.x0, r.x1}).front(),
                     y = stageRanges(step.stagesY, {r.y0, r.y1}).front();
    out = filterAxes(step.stagesX, step.stagesY, padded(step, {x.begin, y.begin, x.end, y.end}), r);
  }

  void lined(const Step& step, Buffer& out) {
    const IndexRect& r = out.rect();
    const Buffer in = padded(step, grown(r, step.reach, step.reach));
    out.clear();
    for (int64_t j = r.y0; j < r.y1; ++j) {
      const Run to = out.at(r.x0, j);
      for (const LineTap& tap : step.line) {
        const Run from = in.at(r.x0 + tap.di, j + tap.dj);
        for (int64_t k = 0; k < r.width(); ++k) {
          to.r[k] += tap.weight * from.r[k];
          to.g[k] += tap.weight * from.g[k];
          to.b[k] += tap.weight * from.b[k];
          to.a[k] += tap.weight * from.a[k];
        }
      }
    }
  }

  void windowed(const Step& step, Buffer& out) {
    const IndexRect& r = out.rect();
    const Buffer in = padded(step, grown(r, step.reach, step.reach));
    for (int64_t j = r.y0; j < r.y1; ++j)
      for (int64_t i = r.x0; i < r.x1; ++i) {
        const Run at = in.at(i, j);
        out.at(i, j).set(0, step.ops->window(step.kernel.get(),
                                             {at.r, at.g, at.b, at.a, static_cast<long>(in.rect().width())}));
      }
  }

  void coloured(const Step& step, Buffer& out) {
    constexpr int most = 4;
    const Scratch scratch[most] = {Scratch(kRunLength), Scratch(kRunLength), Scratch(kRunLength),
                                   Scratch(kRunLength)};
    // What is read whole has no samples here.
    for (const Scratch& empty : scratch) clearRun(empty.run(), kRunLength);
    float x[kRunLength];
    forRuns(out.rect(), [&](int64_t j, int64_t i, int n) {
      Run in[most];
      for (size_t k = 0; k < step.inputs.size(); ++k) {
        in[k] = scratch[k].run();
        if (step.inputs[k] >= 0) in[k] = input(step, k, j, i, n, step.straight, in[k]);
      }
      step.ops->run(step.kernel.get(), in, placesOf(step, j, i, n, x), out.at(i, j), n);
    });
  }

  void tapped(const Step& step, size_t index, Buffer& out) {
    std::vector<Buffer> grids;
    for (size_t e = 0; e < step.edges.size(); ++e)
      grids.push_back(gridOf(step.edges[e], regions_.edges[index][e]));
    const auto count = static_cast<size_t>(step.ops->taps);
    std::vector<Move> moves(count);
    std::vector<Px> found(count * step.edges.size());
    Scratch scratch(kRunLength);
    float x[kRunLength];
    const auto bound = static_cast<float>(std::min(step.bound, 1e30));
    forRuns(out.rect(), [&](int64_t j, int64_t i, int n) {
      const Run driver = input(step, 0, j, i, n, false, scratch.run());
      const Places places = placesOf(step, j, i, n, x);
      for (int k = 0; k < n; ++k) {
        const Px d = driver.get(k);
        step.ops->where(step.kernel.get(), places.at(k), d, moves.data());
        for (size_t e = 0; e < step.edges.size(); ++e)
          for (size_t t = 0; t < count; ++t)
            found[e * count + t] = tap(step, e, grids[e], i + k, j, moves[t], bound);
        out.at(i + k, j).set(0, step.ops->gather(step.kernel.get(), places.at(k), d, found.data()));
      }
    });
  }

  static Px tap(const Step& step, size_t e, const Buffer& grid, int64_t i, int64_t j, Move m, float bound) {
    const GridEdge& edge = step.edges[e];
    const GridPoint at =
        gridPoint(step, edge, i, j, {clamp(m.dx, -bound, bound), clamp(m.dy, -bound, bound), m.gain});
    Px p = interpolate(edge, grid, at.u, at.v);
    if (edge.source) edge.source->linearize(1, {&p.r, &p.g, &p.b, &p.a});
    return p * m.gain;
  }
};

}  // namespace

Buffer evaluateRuns(const Program& program, const Regions& regions) {
  return RunEvaluator(program, regions).evaluate();
}

}  // namespace vello
