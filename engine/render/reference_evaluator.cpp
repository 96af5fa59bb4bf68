// The plain evaluator: one sample after the other, straight from what a recipe means. Slow, and obviously
// right.
#include <cmath>

#include "engine/plan/placement.h"
#include "engine/render/reference_evaluator.h"

namespace vello {
namespace {

struct Sum {
  double r = 0, g = 0, b = 0, a = 0;
  void add(Px p, double w) {
    r += w * p.r;
    g += w * p.g;
    b += w * p.b;
    a += w * p.a;
  }
  Px px() const {
    return {static_cast<float>(r), static_cast<float>(g), static_cast<float>(b), static_cast<float>(a)};
  }
};

Px straightened(Px p) {
  const float a = p.a == 0 ? 1 : p.a;
  return {p.r / a, p.g / a, p.b / a, p.a};
}

Px premultiplied(Px p) { return {p.r * p.a, p.g * p.a, p.b * p.a, p.a}; }

class ReferenceEvaluator {
 public:
  ReferenceEvaluator(const Program& program, const Regions& regions) : program_(program), regions_(regions) {}

  Buffer evaluate() {
    buffers_.resize(program_.steps.size());
    for (size_t k = 0; k < program_.steps.size(); ++k) {
      if (regions_.steps[k].empty()) continue;
      buffers_[k] = Buffer(regions_.steps[k]);
      compute(program_.steps[k], buffers_[k]);
    }
    const auto root = static_cast<size_t>(program_.root);
    Buffer result = std::move(buffers_[root]);
    const IndexRect& r = result.rect();
    if (program_.steps[root].straight)
      for (int64_t j = r.y0; j < r.y1; ++j)
        for (int64_t i = r.x0; i < r.x1; ++i) result.at(i, j).set(0, premultiplied(result.get(i, j)));
    return result;
  }

 private:
  const Buffer& samples(int step) const { return buffers_[static_cast<size_t>(step)]; }
  bool isStraight(int step) const { return program_.steps[static_cast<size_t>(step)].straight; }

  void compute(const Step& step, Buffer& out) {
    const IndexRect& r = out.rect();
    if (step.axisX) prepare(step, r);
    for (int64_t j = r.y0; j < r.y1; ++j)
      for (int64_t i = r.x0; i < r.x1; ++i) out.at(i, j).set(0, sampleOf(step, i, j));
  }

  Px sampleOf(const Step& step, int64_t i, int64_t j) {
    switch (step.op) {
      case Step::Op::empty:
        return {0, 0, 0, 0};
      case Step::Op::sample:
        return moved(step, step.edges[0], i, j, {0, 0, 1});
      case Step::Op::stored:
        return step.stored->samples.get(i, j);
      case Step::Op::crop:
        return cropped(step, i, j);
      case Step::Op::clamp: {
        const IndexRect& c = step.clampRect;
        return get(step, 0, std::clamp(i, c.x0, c.x1 - 1), std::clamp(j, c.y0, c.y1 - 1), step.straight);
      }
      case Step::Op::axis:
        return step.chords ? extreme(step, i, j) : filtered(i, j);
      case Step::Op::kernel:
        return kernel(step, i, j);
    }
    return {};
  }

  Px kernel(const Step& step, int64_t i, int64_t j) {
    const KernelOps& ops = *step.ops;
    const void* k = step.kernel.get();
    float x;
    const At at = placesOf(step, j, i, 1, &x, rowLoops(InstructionSet::baseline)).at(0);
    switch (ops.kind) {
      case Kind::warp:
        return moved(step, step.edges[0], i, j, ops.move(k, at));
      case Kind::zoom:
        return zoomed(step, i, j);
      case Kind::taps:
        return tapped(step, i, j, at);
      case Kind::line: {
        Sum sum;
        for (const LineTap& tap : step.line) sum.add(get(step, 0, i + tap.di, j + tap.dj, false), tap.weight);
        return sum.px();
      }
      case Kind::area:
        return windowed(step, i, j);
      default:
        break;
    }
    Px in[4] = {};
    for (size_t n = 0; n < step.inputs.size(); ++n)
      if (step.inputs[n] >= 0) in[n] = get(step, n, i, j, step.straight);
    return ops.sample(k, in, at);
  }

  Px get(const Step& step, size_t which, int64_t i, int64_t j, bool straight) const {
    const int from = step.inputs[which];
    const Px p = samples(from).get(i, j);
    if (isStraight(from) == straight) return p;
    return straight ? straightened(p) : premultiplied(p);
  }

  Px cropped(const Step& step, int64_t i, int64_t j) const {
    const Lattice& l = step.lattice;
    const CGRect& c = step.node->rect;
    const auto share = [&l](double centre, double low, double size) {
      const double begin = std::max(centre - l.pitch / 2, low),
                   end = std::min(centre + l.pitch / 2, low + size);
      return static_cast<float>(std::clamp((end - begin) / l.pitch, 0.0, 1.0));
    };
    const float s = share(l.x(i), c.origin.x, c.size.width) * share(l.y(j), c.origin.y, c.size.height);
    const Px p = get(step, 0, i, j, false) * s;
    return step.straight ? straightened(p) : p;
  }

  // One sample of an edge's grid: encoded from a bitmap at full size, else linear.
  Px gridSample(const GridEdge& edge, int64_t i, int64_t j) const {
    if (edge.clamp) {
      i = std::clamp(i, edge.valid.x0, edge.valid.x1 - 1);
      j = std::clamp(j, edge.valid.y0, edge.valid.y1 - 1);
    }
    if (!edge.valid.holds(i, j)) return {0, 0, 0, 0};
    if (edge.step >= 0) {
      const Px p = samples(edge.step).get(i, j);
      return isStraight(edge.step) ? premultiplied(p) : p;
    }
    Px p;
    edge.source->readLevel(edge.level, j, i, 1, {&p.r, &p.g, &p.b, &p.a});
    return p;
  }

  Px moved(const Step& step, const GridEdge& edge, int64_t i, int64_t j, Move m) const {
    return interpolated(edge, gridPoint(step, edge, i, j, m)) * m.gain;
  }

  Px zoomed(const Step& step, int64_t i, int64_t j) const {
    Sum sum;
    GridRun place;
    for (const ScaledCopy& copy : step.ops->copies(step.kernel.get())) {
      gridRun(step, copy, j, i, 1, InstructionSet::baseline, place);
      sum.add(interpolated(step.edges[0], {place.u[0], place.v[0]}), copy.weight);
    }
    return sum.px();
  }

  Px interpolated(const GridEdge& edge, const GridPoint& at) const {
    constexpr double far = 1e12;
    if (!(std::abs(at.u) < far && std::abs(at.v) < far)) return {0, 0, 0, 0};
    const auto gi = static_cast<int64_t>(std::floor(at.u)), gj = static_cast<int64_t>(std::floor(at.v));
    const double s = at.u - std::floor(at.u), t = at.v - std::floor(at.v);
    Sum sum;
    sum.add(gridSample(edge, gi, gj), (1 - s) * (1 - t));
    sum.add(gridSample(edge, gi + 1, gj), s * (1 - t));
    sum.add(gridSample(edge, gi, gj + 1), (1 - s) * t);
    sum.add(gridSample(edge, gi + 1, gj + 1), s * t);
    Px p = sum.px();
    if (edge.encoded()) edge.source->linearize(1, {&p.r, &p.g, &p.b, &p.a});
    return p;
  }

  Px tapped(const Step& step, int64_t i, int64_t j, At at) const {
    const KernelOps& ops = *step.ops;
    const Px driver = get(step, 0, i, j, false);
    std::vector<Move> moves(static_cast<size_t>(ops.taps));
    ops.where(step.kernel.get(), at, driver, moves.data());
    const auto bound = static_cast<float>(std::min(step.bound, 1e30));
    std::vector<Px> found;
    for (const GridEdge& edge : step.edges)
      for (const Move& m : moves)
        found.push_back(
            moved(step, edge, i, j, {clamp(m.dx, -bound, bound), clamp(m.dy, -bound, bound), m.gain}));
    return ops.gather(step.kernel.get(), at, driver, found.data());
  }

  Px windowed(const Step& step, int64_t i, int64_t j) const {
    const auto reach = step.reach;
    Buffer window({i - reach, j - reach, i + reach + 1, j + reach + 1});
    std::vector<Run> rows;
    for (int64_t y = j - reach; y <= j + reach; ++y) {
      for (int64_t x = i - reach; x <= i + reach; ++x) window.at(x, y).set(0, get(step, 0, x, y, false));
      rows.push_back(window.at(i, y));
    }
    return step.ops->window(step.kernel.get(), {rows.data() + reach, 0});
  }

  Px extreme(const Step& step, int64_t i, int64_t j) const {
    const Chords& chords = *step.chords;
    const auto better = [&chords](float a, float b) { return chords.greatest ? max(a, b) : min(a, b); };
    Px found = get(step, 0, i, j, false);
    for (int64_t dj = -chords.height(); dj <= chords.height(); ++dj) {
      const int64_t half = chords.halves[static_cast<size_t>(std::abs(dj))];
      for (int64_t di = -half; di <= half; ++di) {
        const Px p = get(step, 0, i + di, j + dj, false);
        found = {better(found.r, p.r), better(found.g, p.g), better(found.b, p.b), better(found.a, p.a)};
      }
    }
    return found;
  }

  struct Weights {
    int64_t first;
    std::vector<double> w;
  };

  static std::vector<Weights> axisWeights(const AxisStage& stage, IndexRange out) {
    std::vector<Weights> list;
    std::vector<float> weights(static_cast<size_t>(stage.count()));
    for (int64_t o = out.begin; o < out.end; ++o) {
      const int64_t first = stage.weigh(o, weights.data());
      list.push_back({first, {weights.begin(), weights.end()}});
    }
    return list;
  }

  void prepare(const Step& step, const IndexRect& r) {
    rect_ = r;
    columns_ = axisWeights(*step.axisX, {r.x0, r.x1});
    rows_ = axisWeights(*step.axisY, {r.y0, r.y1});
    const IndexRect& in = samples(step.inputs[0]).rect();
    firstRow_ = in.y0;
    along_.assign(static_cast<size_t>(in.height() * r.width()), {});
    for (int64_t j = in.y0; j < in.y1; ++j)
      for (int64_t i = r.x0; i < r.x1; ++i) {
        const Weights& column = columns_[static_cast<size_t>(i - r.x0)];
        Sum& sum = along_[static_cast<size_t>((j - in.y0) * r.width() + i - r.x0)];
        for (size_t t = 0; t < column.w.size(); ++t)
          sum.add(get(step, 0, column.first + static_cast<int64_t>(t), j, false), column.w[t]);
      }
    height_ = in.height();
  }

  Px filtered(int64_t i, int64_t j) const {
    const Weights& row = rows_[static_cast<size_t>(j - rect_.y0)];
    Sum sum;
    for (size_t t = 0; t < row.w.size(); ++t) {
      const int64_t y = row.first + static_cast<int64_t>(t) - firstRow_;
      if (y < 0 || y >= height_) continue;
      const Sum& s = along_[static_cast<size_t>(y * rect_.width() + i - rect_.x0)];
      sum.r += row.w[t] * s.r;
      sum.g += row.w[t] * s.g;
      sum.b += row.w[t] * s.b;
      sum.a += row.w[t] * s.a;
    }
    return sum.px();
  }

  const Program& program_;
  const Regions& regions_;
  std::vector<Buffer> buffers_;
  // Of the axis step being computed: its weights, and its input already filtered along x.
  IndexRect rect_;
  std::vector<Weights> columns_, rows_;
  std::vector<Sum> along_;
  int64_t firstRow_ = 0, height_ = 0;
};

}  // namespace

Buffer evaluateReference(const Program& program, const Regions& regions) {
  return ReferenceEvaluator(program, regions).evaluate();
}

}  // namespace vello
