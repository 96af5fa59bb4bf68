// Filters rows along both axes as they come, from the top down.
#pragma once

#include <memory>

#include "engine/plan/program.h"
#include "engine/render/row_loops.h"

namespace vello {

class AxisRows {
 public:
  virtual ~AxisRows() = default;
  // The rows and columns of input that all of the output takes.
  const IndexRect& input() const { return input_; }
  // The lowest row that output row j takes.
  virtual int64_t lowestFor(int64_t j) const = 0;
  // The next row of `input`, premultiplied, from its first column on. Null samples are all transparent.
  virtual void take(int64_t row, const Run* samples) = 0;
  // Output row j, all of whose rows have been taken. Rows come from the top down.
  virtual void make(int64_t j, const Run& out) = 0;
  // Whether output row j is the same as the one above it.
  virtual bool repeats(int64_t) const { return false; }

  // Memory it has taken.
  virtual double bytes() const = 0;

  // For an axis step.
  static std::unique_ptr<AxisRows> create(const Step& step, const IndexRect& out, const RowLoops& loops);

 protected:
  AxisRows(const IndexRect& input, const IndexRect& out, const RowLoops& loops)
      : input_(input), out_(out), loops_(loops) {}

  const IndexRect input_, out_;
  const RowLoops& loops_;
};

// The windows of extreme kernels.
std::unique_ptr<AxisRows> extremeRows(const Chords& chords, const IndexRect& input, const IndexRect& out,
                                      const RowLoops& loops);

}  // namespace vello
