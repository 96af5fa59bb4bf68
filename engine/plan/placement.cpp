#include "engine/plan/placement.h"

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

Places placesOf(const Step& step, int64_t j, int64_t i, int n, float* x) {
  const Lattice& l = step.lattice;
  for (int k = 0; k < n; ++k) x[k] = static_cast<float>(l.x(i + k) - step.anchor.x);
  return {x, static_cast<float>(l.y(j) - step.anchor.y), static_cast<float>(l.pitch)};
}

void gridRun(const Step& step, int64_t j, int64_t i, int n, GridRun& out) {
  const GridEdge& edge = step.edges[0];
  const Lattice& l = step.lattice;
  if (!step.ops || step.ops->kind != Kind::warp) {
    for (int k = 0; k < n; ++k) {
      const GridPoint p = onGrid(edge, l.x(i + k), l.y(j));
      out.u[k] = p.u;
      out.v[k] = p.v;
      out.gain[k] = 1;
    }
    return;
  }
  float x[kRunLength], dx[kRunLength], dy[kRunLength];
  const Places places = placesOf(step, j, i, n, x);
  step.ops->moveRun(step.kernel.get(), places, {dx, dy, out.gain}, n);
  for (int k = 0; k < n; ++k) {
    const GridPoint p = onGrid(edge, l.x(i + k) + dx[k], l.y(j) + dy[k]);
    out.u[k] = p.u;
    out.v[k] = p.v;
  }
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
