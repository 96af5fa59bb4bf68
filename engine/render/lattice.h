// Where samples lie. Sample (i, j) has its centre at (ox + (i + 1/2) pitch, oy + (j + 1/2) pitch) of image
// space, y upwards; indices are absolute, so every tile of a render counts alike.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/image/extent.h"

namespace vello {

// How much finer than the samples asked for a render may compute what would otherwise not look like the
// picture scaled down.
enum class Quality {
  thorough,  // whatever needs it, also where that takes some tenths of a second
  settled,   // whatever needs it, for somebody who waits
  lean,      // what reads other places than its own, or is nothing on means: more would take too long
  draft,     // nothing
};

struct Lattice {
  double ox = 0, oy = 0, pitch = 1;
  Quality quality = Quality::settled;
  int halved = 0;  // how often the pitch has been halved already, for kernels that need finer samples
  double x(int64_t i) const { return ox + (static_cast<double>(i) + 0.5) * pitch; }
  double y(int64_t j) const { return oy + (static_cast<double>(j) + 0.5) * pitch; }
  friend bool operator==(const Lattice&, const Lattice&) = default;
};

// Half open: x0 <= i < x1.
struct IndexRect {
  int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  bool empty() const { return x1 <= x0 || y1 <= y0; }
  int64_t width() const { return empty() ? 0 : x1 - x0; }
  int64_t height() const { return empty() ? 0 : y1 - y0; }
  // Saturates instead of overflowing.
  double area() const { return static_cast<double>(width()) * static_cast<double>(height()); }
  bool holds(int64_t i, int64_t j) const { return i >= x0 && i < x1 && j >= y0 && j < y1; }
  friend bool operator==(const IndexRect&, const IndexRect&) = default;
};

// No index is ever beyond this on an unbounded side.
inline constexpr int64_t kIndexLimit = int64_t{1} << 40;

inline int64_t clampedIndex(double v) {
  return static_cast<int64_t>(
      std::clamp(v, -static_cast<double>(kIndexLimit), static_cast<double>(kIndexLimit)));
}

inline IndexRect intersection(const IndexRect& a, const IndexRect& b) {
  const IndexRect r{std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
  return r.empty() ? IndexRect{} : r;
}

inline IndexRect unionOf(const IndexRect& a, const IndexRect& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

inline IndexRect grown(const IndexRect& r, int64_t dx, int64_t dy) {
  if (r.empty()) return {};
  return {r.x0 - dx, r.y0 - dy, r.x1 + dx, r.y1 + dy};
}

// The samples whose squares meet the rectangle. A thousandth of a sample is forgiven, for extents computed in
// floats.
inline IndexRect covering(const CGRect& r, const Lattice& l) {
  if (isEmpty(r)) return {};
  if (isInfinite(r)) return {-kIndexLimit, -kIndexLimit, kIndexLimit, kIndexLimit};
  constexpr double slack = 1e-3;
  const IndexRect found{clampedIndex(std::floor((r.origin.x - l.ox) / l.pitch + slack)),
                        clampedIndex(std::floor((r.origin.y - l.oy) / l.pitch + slack)),
                        clampedIndex(std::ceil((r.origin.x + r.size.width - l.ox) / l.pitch - slack)),
                        clampedIndex(std::ceil((r.origin.y + r.size.height - l.oy) / l.pitch - slack))};
  return found.empty() ? IndexRect{found.x0, found.y0, found.x0 + 1, found.y0 + 1} : found;
}

// The samples whose squares lie inside the rectangle; those that meet it where there is none.
inline IndexRect insideOf(const CGRect& r, const Lattice& l) {
  if (isEmpty(r) || isInfinite(r)) return covering(r, l);
  constexpr double slack = 1e-3;
  const IndexRect found{clampedIndex(std::ceil((r.origin.x - l.ox) / l.pitch - slack)),
                        clampedIndex(std::ceil((r.origin.y - l.oy) / l.pitch - slack)),
                        clampedIndex(std::floor((r.origin.x + r.size.width - l.ox) / l.pitch + slack)),
                        clampedIndex(std::floor((r.origin.y + r.size.height - l.oy) / l.pitch + slack))};
  return found.empty() ? covering(r, l) : found;
}

}  // namespace vello
