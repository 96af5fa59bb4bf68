#include "engine/render/grid.h"

#include <cstring>

namespace vello {

double Grid::bytesFor(const IndexRect& box) { return grown(box, 1, 1).area() * 4 * sizeof(float); }

namespace {

IndexRect withMargin(const IndexRect& box) { return box.empty() ? IndexRect{0, 0, 2, 2} : grown(box, 1, 1); }

}  // namespace

GridFrame gridFrame(const GridEdge& edge, const IndexRect& box) {
  const IndexRect all = withMargin(box);
  const IndexRect& v = edge.valid;
  GridFrame frame{static_cast<double>(v.x0),
                  static_cast<double>(v.x1 - 1),
                  static_cast<double>(v.y0),
                  static_cast<double>(v.y1 - 1),
                  !edge.clamp,
                  static_cast<double>(all.x1 - 2),
                  static_cast<double>(all.y1 - 2),
                  all.x0,
                  all.y0,
                  all.width()};
  if (edge.clamp) return frame;
  frame.lowU -= 1, frame.highU += 1, frame.lowV -= 1, frame.highV += 1;
  if (box.empty()) frame.highU = frame.lowU;  // nothing is inside
  return frame;
}

Grid::Grid(const GridEdge& edge, const IndexRect& box) : box_(box), frame_(gridFrame(edge, box)) {
  const IndexRect all = withMargin(box);
  const auto count = static_cast<size_t>(all.width() * all.height() * 4);
  samples_ = SampleBlock(count);
  // Rows and columns beyond the box: what lies beyond the edge's valid samples is transparent.
  const auto row = static_cast<size_t>(all.width() * 4);
  std::memset(samples_.get(), 0, row * sizeof(float));
  std::memset(samples_.get() + count - row, 0, row * sizeof(float));
  for (size_t k = row; k < count; k += row) {
    std::memset(samples_.get() + k, 0, 4 * sizeof(float));
    std::memset(samples_.get() + k - 4, 0, 4 * sizeof(float));
  }
}

void Grid::setRow(int64_t j, const Run& run, const RowLoops& loops) {
  const float* const planes[] = {run.r, run.g, run.b, run.a};
  loops.interleave(planes, rowAt(j), box_.width());
}

void Grid::fill(const SampleStore& store) { store.read(box_, rowAt(box_.y0), frame_.stride); }

float* Grid::rowAt(int64_t j) {
  return samples_.get() + ((j - frame_.y0) * frame_.stride + (box_.x0 - frame_.x0)) * 4;
}

}  // namespace vello
