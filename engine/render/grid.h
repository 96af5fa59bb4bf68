// The samples that are interpolated along an edge, as one interleaved array: premultiplied linear colour of a
// step, or premultiplied encoded texels of a bitmap. Around the edge's valid samples lie transparent ones.
#pragma once

#include "engine/plan/program.h"
#include "engine/render/row_loops.h"
#include "engine/render/sample_block.h"

namespace vello {

// Of the samples of `box` along an edge, around which lies a margin of one transparent sample.
GridFrame gridFrame(const GridEdge& edge, const IndexRect& box);

class Grid {
 public:
  Grid() = default;
  // `box` are the samples that places along the edge can ask for.
  Grid(const GridEdge& edge, const IndexRect& box);

  const IndexRect& box() const { return box_; }
  // Where places are looked up; empty grids have no samples to read.
  const GridFrame& frame() const { return frame_; }
  const float* samples() const { return samples_.get(); }
  // Fills row j of the box.
  void setRow(int64_t j, const Run& samples, const RowLoops& loops);
  // Fills all of it.
  void fill(const SampleStore& store);
  static double bytesFor(const IndexRect& box);

 private:
  float* rowAt(int64_t j);

  IndexRect box_;
  GridFrame frame_{};
  SampleBlock samples_;
};

}  // namespace vello
