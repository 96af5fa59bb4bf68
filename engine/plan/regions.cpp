#include "engine/plan/regions.h"

#include <cmath>
#include <limits>

#include "engine/plan/placement.h"

namespace vello {
namespace {

constexpr double kTermWork = 1.0 / 8;  // of a sum, measured roughly with wide vectors

struct Box {
  double u0 = std::numeric_limits<double>::infinity(), v0 = u0, u1 = -u0, v1 = -u0;
  void add(double u, double v) {
    u0 = std::min(u0, u);
    v0 = std::min(v0, v);
    u1 = std::max(u1, u);
    v1 = std::max(v1, v);
  }
  bool empty() const { return u0 > u1; }
};

// Indices beyond this are never near a picture, and sums of them must not overflow.
constexpr int64_t kLongestSide = int64_t{1} << 42;
constexpr double kNever = std::numeric_limits<double>::infinity();

bool isWarp(const Step& step) { return step.ops && step.ops->kind == Kind::warp; }

Box cornersOf(const Step& step, const GridEdge& edge, const IndexRect& r) {
  Box box;
  for (const int64_t i : {r.x0, r.x1 - 1})
    for (const int64_t j : {r.y0, r.y1 - 1}) {
      const GridPoint p = gridPoint(step, edge, i, j, {0, 0, 1});
      box.add(p.u, p.v);
    }
  return box;
}

// Where the moved places of a row lie, as far as samples lie near them: others do not widen the box.
Box movedRow(const Step& step, const IndexRect& r, int64_t j, InstructionSet set) {
  const GridEdge& edge = step.edges[0];
  const IndexRect& v = edge.valid;
  const GridBounds limits{static_cast<double>(v.x0) - 1, static_cast<double>(v.y0) - 1,
                          static_cast<double>(v.x1), static_cast<double>(v.y1)};
  const Box none;
  GridBounds bounds{none.u0, none.v0, none.u1, none.v1};
  GridRun run;
  for (int64_t i = r.x0; i < r.x1; i += kRunLength) {
    const int n = static_cast<int>(std::min<int64_t>(kRunLength, r.x1 - i));
    gridRun(step, j, i, n, set, run);
    rowLoops(set).gridBounds(run.u, run.v, limits, !edge.clamp, bounds, n);
  }
  return {bounds.u0, bounds.v0, bounds.u1, bounds.v1};
}

Box movedRows(const Step& step, const IndexRect& r, InstructionSet set, int64_t every) {
  Box all, last;
  double du = 0, dv = 0;  // the most that a row's box differs from the last one's
  for (int64_t j = r.y0; j < r.y1; j = j + every < r.y1 ? j + every : std::max(j + 1, r.y1 - 1)) {
    const Box row = movedRow(step, r, j, set);
    if (row.empty()) continue;
    if (!last.empty()) {
      du = std::max({du, std::abs(row.u0 - last.u0), std::abs(row.u1 - last.u1)});
      dv = std::max({dv, std::abs(row.v0 - last.v0), std::abs(row.v1 - last.v1)});
    }
    all.add(row.u0, row.v0);
    all.add(row.u1, row.v1);
    last = row;
  }
  if (every > 1) all = {all.u0 - du / 2, all.v0 - dv / 2, all.u1 + du / 2, all.v1 + dv / 2};
  return all;
}

IndexRect movedBox(const Step& step, const IndexRect& r, InstructionSet set, MovesLookedAt& moves,
                   bool& exact) {
  const GridEdge& edge = step.edges[0];
  Box box;
  if (isWarp(step)) {
    const int64_t every = std::max<int64_t>(1, r.height() / moves.rows);
    const bool all = (moves.most -= r.area() / static_cast<double>(every)) >= 0;
    exact = exact && all && every == 1;
    if (!all) return edge.valid;
    box = movedRows(step, r, set, every);
  } else {
    box = cornersOf(step, edge, r);
  }
  return gridBox(edge, box.u0, box.v0, box.u1, box.v1);
}

IndexRect boundedBox(const Step& step, const GridEdge& edge, const IndexRect& r) {
  if (step.bound >= kAnywhere) return edge.valid;
  Box box;
  const auto bound = static_cast<float>(step.bound);
  for (const int64_t i : {r.x0, r.x1 - 1})
    for (const int64_t j : {r.y0, r.y1 - 1})
      for (const float dx : {-bound, bound})
        for (const float dy : {-bound, bound}) {
          const GridPoint p = gridPoint(step, edge, i, j, {dx, dy, 1});
          box.add(p.u, p.v);
        }
  return gridBox(edge, box.u0, box.v0, box.u1, box.v1);
}

IndexRect zoomedBox(const Step& step, const IndexRect& r, InstructionSet set) {
  Box box;
  GridRun place;
  for (const ScaledCopy& copy : step.ops->copies(step.kernel.get()))
    for (const int64_t i : {r.x0, r.x1 - 1})
      for (const int64_t j : {r.y0, r.y1 - 1}) {
        gridRun(step, copy, j, i, 1, set, place);
        box.add(place.u[0], place.v[0]);
      }
  return gridBox(step.edges[0], box.u0, box.v0, box.u1, box.v1);
}

// A window of equal weights is not summed anew for every sample.
double termsOf(const AxisStage& stage) {
  constexpr int most = 16;
  return stage.flat() ? std::min(stage.count(), most) : stage.count();
}

// Samples `r` of a step. Along axes all rows they take are filtered along x, or are added to coarser rows
// first.
double workIn(const Step& step, const IndexRect& r) {
  if (step.op != Step::Op::axis || step.chords) return r.area() * workOf(step);
  const AxisStage &x = *step.axisX, &y = *step.axisY;
  const IndexRect from = filteredRegion(step, r);
  const auto width = static_cast<double>(r.width());
  if (y.coarser())
    return r.area() * (1 + kTermWork * termsOf(x)) +
           kTermWork * y.count() * static_cast<double>(from.width()) * static_cast<double>(r.height());
  return r.area() * (1 + kTermWork * termsOf(y)) +
         kTermWork * termsOf(x) * width * static_cast<double>(from.height());
}

class Demand {
 public:
  Demand(const Program& program, const IndexRect& out, InstructionSet set, const MovesLookedAt& moves)
      : program_(program), set_(set), moves_(moves) {
    found_.steps.resize(program.steps.size());
    found_.edges.resize(program.steps.size());
    ask(program.root, out);
    for (size_t k = program.steps.size(); k-- > 0;) {
      const IndexRect& r = found_.steps[k];
      found_.samples += r.area();
      found_.work += workIn(program.steps[k], r);
      if (std::max(r.width(), r.height()) > kLongestSide) found_.samples = kNever;
      if (found_.samples == kNever) return;
      spread(static_cast<int>(k));
    }
  }
  Regions take() { return std::move(found_); }

 private:
  void ask(int step, const IndexRect& r) {
    if (step < 0) return;
    const auto k = static_cast<size_t>(step);
    found_.steps[k] = unionOf(found_.steps[k], intersection(r, program_.steps[k].bounds));
  }

  void askEdge(size_t k, const GridEdge& edge, const IndexRect& box) {
    found_.edges[k].push_back(box);
    // Texels to interpolate between are decoded for every tile.
    if (edge.source && !program_.steps[k].copiesTexels())
      found_.samples += box.area(), found_.work += box.area();
    ask(edge.step, box);
  }

  void spread(int index) {
    const auto k = static_cast<size_t>(index);
    const Step& step = program_.steps[k];
    const IndexRect r = found_.steps[k];
    if (r.empty()) return;
    switch (step.op) {
      case Step::Op::empty:
      case Step::Op::stored:
        return;
      case Step::Op::sample:
        return askEdge(k, step.edges[0], movedBox(step, r, set_, moves_, found_.exact));
      case Step::Op::crop:
        return ask(step.inputs[0], r);
      case Step::Op::clamp:
        return ask(step.inputs[0], clampedRegion(step, r));
      case Step::Op::axis:
        return ask(step.inputs[0], filteredRegion(step, r));
      case Step::Op::kernel:
        return spreadKernel(step, k, r);
    }
  }

  static IndexRect clampedRegion(const Step& step, const IndexRect& r) {
    const IndexRect& c = step.clampRect;
    return {std::clamp(r.x0, c.x0, c.x1 - 1), std::clamp(r.y0, c.y0, c.y1 - 1),
            std::clamp(r.x1, c.x0 + 1, c.x1), std::clamp(r.y1, c.y0 + 1, c.y1)};
  }

  void spreadKernel(const Step& step, size_t k, const IndexRect& r) {
    switch (step.ops->kind) {
      case Kind::warp:
        return askEdge(k, step.edges[0], movedBox(step, r, set_, moves_, found_.exact));
      case Kind::zoom:
        return askEdge(k, step.edges[0], zoomedBox(step, r, set_));
      case Kind::taps:
        ask(step.inputs[0], r);
        for (const GridEdge& edge : step.edges) askEdge(k, edge, boundedBox(step, edge, r));
        return;
      case Kind::line:
      case Kind::area:
        for (const int input : step.inputs) ask(input, grown(r, step.reach, step.rise));
        return;
      default:
        for (int input : step.inputs) ask(input, r);
    }
  }

  const Program& program_;
  const InstructionSet set_;
  MovesLookedAt moves_;
  Regions found_;
};

}  // namespace

double workOf(const Step& step) {
  constexpr double perPlace = 4, perCopy = 1;
  if (step.chords) return 1 + kTermWork * 4 * static_cast<double>(step.chords->halves.size());
  if (step.op == Step::Op::axis) return 1 + kTermWork * (step.axisX->count() + step.axisY->count());
  if (step.ops && step.ops->kind == Kind::zoom)
    return 1 + perCopy * step.ops->copies(step.kernel.get()).count;
  const double lookups = static_cast<double>(step.edges.size()) * std::max(1, step.ops ? step.ops->taps : 1);
  const double side = static_cast<double>(2 * step.reach + 1);
  const bool area = step.ops && step.ops->kind == Kind::area;
  return 1 + perPlace * lookups + kTermWork * (area ? side * side : static_cast<double>(step.line.size()));
}

double workPerSample(const Program& program, bool texels) {
  const double pitch = program.steps[static_cast<size_t>(program.root)].lattice.pitch;
  double work = 0;
  for (const Step& step : program.steps) {
    const double density = pitch / step.lattice.pitch;
    const bool reads = step.node->type != Node::Type::kernel && (step.axisX || step.edges.size() == 1);
    work += reads && !texels ? 0 : workOf(step) * density * density;
  }
  return work;
}

IndexRect filteredRegion(const Step& step, const IndexRect& r) {
  if (step.chords) return grown(r, step.chords->halves[0], step.chords->height());
  const IndexRange x = step.axisX->inputFor({r.x0, r.x1}), y = step.axisY->inputFor({r.y0, r.y1});
  return {x.begin, y.begin, x.end, y.end};
}

Regions regionsFor(const Program& program, const IndexRect& out, InstructionSet set,
                   const MovesLookedAt& moves) {
  return Demand(program, out, set, moves).take();
}

}  // namespace vello
