// Evaluates a program over a rectangle of its root. One evaluator serves one rectangle on one thread.
#pragma once

#include <string>
#include <vector>

#include "engine/plan/regions.h"

namespace vello {

class Evaluator {
 public:
  Evaluator(const Program& program, const Regions& regions) : program_(program), regions_(regions) {}
  virtual ~Evaluator() = default;
  // The root's samples in premultiplied colour; its rectangle is what the regions ask of the root.
  Buffer evaluate();

 protected:
  // Fills `out`, whose rectangle is what the regions ask of the step.
  virtual void compute(const Step& step, size_t index, Buffer& out) = 0;

  const Buffer& samples(int step) const { return buffers_[static_cast<size_t>(step)]; }
  bool isStraight(int step) const { return program_.steps[static_cast<size_t>(step)].straight; }

  const Program& program_;
  const Regions& regions_;

 private:
  std::vector<Buffer> buffers_;
};

// The plain one: whole rectangles, one sample after the other, sums in double, every Gaussian direct. All
// others are checked against it.
Buffer evaluateReference(const Program& program, const Regions& regions);
// Rows of planar runs.
Buffer evaluateRuns(const Program& program, const Regions& regions);

}  // namespace vello
