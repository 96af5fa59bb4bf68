#include "engine/render/row_pair.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vello {
namespace {

constexpr int64_t kNone = INT64_MIN;

int64_t widthOf(const IndexRect& box) { return std::max<int64_t>(2, box.width() + 2); }

}  // namespace

double RowPair::bytesFor(const IndexRect& box) {
  return static_cast<double>(2 * widthOf(box) + box.width()) * 4 * sizeof(float);
}

RowPair::RowPair(const GridEdge& edge, const IndexRect& box)
    : edge_(edge),
      box_(box),
      frame_(gridFrame(edge, box)),
      samples_(static_cast<size_t>(frame_.stride) * 8),
      texels_(box.width()),
      held_{kNone, kNone} {}

void RowPair::moveTo(double v, const RowLoops& loops) {
  const double inside = v > frame_.lowV ? std::min(v, frame_.highV) : frame_.lowV;  // whatever the place is
  const double below = std::floor(inside);
  frame_.y0 = static_cast<int64_t>(below);
  frame_.lastJ = below;
  read(frame_.y0, loops);
  if (inside > below) read(frame_.y0 + 1, loops);
}

// Beyond the box lies transparence.
void RowPair::read(int64_t j, const RowLoops& loops) {
  if (held_[j & 1] == j) return;
  held_[j & 1] = j;
  float* const to = row(j);
  if (j < box_.y0 || j >= box_.y1) {
    std::memset(to, 0, static_cast<size_t>(frame_.stride) * 4 * sizeof(float));
    return;
  }
  const Run run = texels_.run();
  edge_.source->readLevel(edge_.level, j, box_.x0, static_cast<int>(box_.width()), run);
  const float* const planes[] = {run.r, run.g, run.b, run.a};
  loops.interleave(planes, to + 4, box_.width());
  std::memset(to, 0, 4 * sizeof(float));
  std::memset(to + (frame_.stride - 1) * 4, 0, 4 * sizeof(float));
}

}  // namespace vello
