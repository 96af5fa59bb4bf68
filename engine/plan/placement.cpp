#include "engine/plan/placement.h"

#include <algorithm>
#include <cmath>

namespace vello {
namespace {

// Places this close to a sample are the sample: what rounding moved is brought back.
constexpr double kSnap = 1e-5;

double snapped(double u) {
  const double near = std::nearbyint(u);
  return std::abs(u - near) < kSnap ? near : u;
}

GridPoint onGrid(const GridEdge& edge, double x, double y) {
  const CGAffineTransform& t = edge.toGrid;
  return {snapped(t.a * x + t.c * y + t.tx), snapped(t.b * x + t.d * y + t.ty)};
}

}  // namespace

Places placesOf(const Step& step, int64_t j, int64_t i, int n, float* x, const RowLoops& loops) {
  const Lattice& l = step.lattice;
  loops.places({l.ox, static_cast<double>(i), l.pitch}, step.anchor.x, x, n);
  return {x, static_cast<float>(l.y(j) - step.anchor.y), static_cast<float>(l.pitch)};
}

void gridRun(const Step& step, int64_t j, int64_t i, int n, InstructionSet set, GridRun& out) {
  const RowLoops& loops = rowLoops(set);
  const Lattice& l = step.lattice;
  const CGAffineTransform& t = step.edges[0].toGrid;
  float x[kRunLength], dx[kRunLength], dy[kRunLength];
  const bool moves = step.ops && step.ops->kind == Kind::warp;
  if (moves) {
    const Places places = placesOf(step, j, i, n, x, loops);
    step.ops->loops[static_cast<int>(set)].moves(step.kernel.get(), places, {dx, dy, out.gain}, n);
  } else {
    std::fill_n(out.gain, n, 1.0f);
  }
  const float *const mx = moves ? dx : nullptr, *const my = moves ? dy : nullptr;
  loops.gridPlaces({{l.ox, static_cast<double>(i), l.pitch}, l.y(j), mx, my, t.a, t.b, t.c, t.d, t.tx, t.ty},
                   out.u, out.v, n);
}

void gridRun(const Step& step, const ScaledCopy& copy, int64_t j, int64_t i, int n, InstructionSet set,
             GridRun& out) {
  const double s = copy.scale, x = step.anchor.x * (1 - s), y = step.anchor.y * (1 - s);
  const CGAffineTransform t = CGAffineTransformConcat({s, 0, 0, s, x, y}, step.edges[0].toGrid);
  const Lattice& l = step.lattice;
  rowLoops(set).gridPlaces(
      {{l.ox, static_cast<double>(i), l.pitch}, l.y(j), nullptr, nullptr, t.a, t.b, t.c, t.d, t.tx, t.ty},
      out.u, out.v, n);
}

GridPoint gridPoint(const Step& step, const GridEdge& edge, int64_t i, int64_t j, Move move) {
  return onGrid(edge, step.lattice.x(i) + move.dx, step.lattice.y(j) + move.dy);
}

IndexRect gridBox(const GridEdge& edge, double u0, double v0, double u1, double v1) {
  const IndexRect& valid = edge.valid;
  if (valid.empty() || !(u1 >= u0) || !(v1 >= v0)) return {};
  IndexRect box{clampedIndex(std::floor(u0)), clampedIndex(std::floor(v0)), clampedIndex(std::floor(u1)) + 2,
                clampedIndex(std::floor(v1)) + 2};
  if (!edge.clamp) return intersection(box, valid);
  box.x0 = std::clamp(box.x0, valid.x0, valid.x1 - 1);
  box.y0 = std::clamp(box.y0, valid.y0, valid.y1 - 1);
  box.x1 = std::clamp(box.x1, box.x0 + 1, valid.x1);
  box.y1 = std::clamp(box.y1, box.y0 + 1, valid.y1);
  return box;
}

}  // namespace vello
