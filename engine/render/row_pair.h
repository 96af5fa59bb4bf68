// The two rows of a bitmap's texels that a row of samples lies between, where a picture is scaled and shifted
// but not turned: the rest of its texels need not be at hand, or are never read.
#pragma once

#include "engine/render/grid.h"

namespace vello {

class RowPair {
 public:
  // Along an edge from a bitmap. `box` are the texels that places can ask for.
  RowPair(const GridEdge& edge, const IndexRect& box);

  // Reads what is interpolated at row coordinate v. Cheap where that is at hand.
  void moveTo(double v, const RowLoops& loops);
  // Where places of that row coordinate are looked up in samples(), whose next row lies stride() samples on,
  // or back.
  const GridFrame& frame() const { return frame_; }
  const float* samples() const { return row(frame_.y0); }
  int64_t stride() const { return row(frame_.y0) == samples_.get() ? frame_.stride : -frame_.stride; }
  double bytes() const { return bytesFor(box_); }
  static double bytesFor(const IndexRect& box);

 private:
  // Neighbours lie in different halves, so that one can stay where it is.
  float* row(int64_t j) const { return samples_.get() + (j & 1) * frame_.stride * 4; }
  void read(int64_t j, const RowLoops& loops);

  const GridEdge& edge_;
  const IndexRect box_;
  GridFrame frame_;
  SampleBlock samples_;
  Scratch texels_;
  int64_t held_[2];  // the rows at hand
};

}  // namespace vello
