// Filters rows along both axes as they come, from the top down.
#pragma once

#include <memory>

#include "engine/plan/axis_stage.h"
#include "engine/render/lattice.h"
#include "engine/render/row_loops.h"

namespace vello {

class AxisRows {
 public:
  virtual ~AxisRows() = default;
  // The rows and columns of input that all of the output takes.
  IndexRect input() const;
  // The lowest row that output row j takes.
  int64_t lowestFor(int64_t j) const { return y_.inputFor({j, j + 1}).begin; }
  // The next row of `input`, premultiplied, from its first column on. Null samples are all transparent.
  virtual void take(int64_t row, const Run* samples) = 0;
  // Output row j, all of whose rows have been taken. Rows come from the top down.
  virtual void make(int64_t j, const Run& out) = 0;

  static std::unique_ptr<AxisRows> create(const AxisStage& x, const AxisStage& y, const IndexRect& out,
                                          const RowLoops& loops);

 protected:
  AxisRows(const AxisStage& x, const AxisStage& y, const IndexRect& out, const RowLoops& loops)
      : x_(x), y_(y), out_(out), loops_(loops) {}

  const AxisStage &x_, &y_;
  const IndexRect out_;
  const RowLoops& loops_;
};

}  // namespace vello
