// Reading between the samples of an edge.
#pragma once

#include "engine/plan/placement.h"
#include "engine/render/buffer.h"

namespace vello {

// The grid samples of a box of an edge, gathered from its step (premultiplied) or its texels (premultiplied
// encoded).
Buffer gatherGrid(const GridEdge& edge, const IndexRect& box, const Buffer* step, bool straight);

// Bilinear between the four samples around (u, v); what lies outside the edge's valid samples is transparent
// or the nearest one. `grid` must hold every sample that is read.
inline Px interpolate(const GridEdge& edge, const Buffer& grid, double u, double v) {
  const IndexRect& valid = edge.valid;
  const auto x1 = static_cast<double>(valid.x1), y1 = static_cast<double>(valid.y1);
  const auto x0 = static_cast<double>(valid.x0), y0 = static_cast<double>(valid.y0);
  if (edge.clamp) {
    u = u > x0 ? (u < x1 - 1 ? u : x1 - 1) : x0;
    v = v > y0 ? (v < y1 - 1 ? v : y1 - 1) : y0;
  } else if (!(u > x0 - 1 && u < x1 && v > y0 - 1 && v < y1)) {
    return {0, 0, 0, 0};
  }
  const double fu = std::floor(u), fv = std::floor(v);
  const auto i = static_cast<int64_t>(fu), j = static_cast<int64_t>(fv);
  const auto s = static_cast<float>(u - fu), t = static_cast<float>(v - fv);
  const Px below = s == 0 ? grid.get(i, j) : mix(grid.get(i, j), grid.get(i + 1, j), s);
  if (t == 0) return below;
  const Px above = s == 0 ? grid.get(i, j + 1) : mix(grid.get(i, j + 1), grid.get(i + 1, j + 1), s);
  return mix(below, above, t);
}

}  // namespace vello
