// One render: a program, its tiles, all cores.
#pragma once

#include <atomic>
#include <functional>

#include "engine/plan/tiling.h"
#include "engine/render/context.h"

namespace vello {

class RenderJob {
 public:
  RenderJob(const ContextOptions& options, const RenderRequest& request);

  int64_t width() const { return frame_.width(); }
  int64_t height() const { return frame_.height(); }
  int64_t peakBytes() const { return static_cast<int64_t>(peak_); }
  std::string run(const PixelLayout& layout, const ColorSpacePtr& space, uint8_t* pixels);

 private:
  // n samples from column i of row j on.
  using Store = std::function<void(int64_t j, int64_t i, int n, const Run& samples)>;

  ProgramOptions programOptions();
  std::string build(Program& program);
  std::string whole(const Program& program, const IndexRect& rect, Buffer& out);
  std::string refuse(const Tiling& tiling, int threads, double area) const;
  std::string runTiles(const Program& program, const IndexRect& frame, bool report, const Store& store);
  std::string runReference(const Program& program, const IndexRect& frame, const Store& store) const;

  const ContextOptions& options_;
  const RenderRequest& request_;
  const ColorSpacePtr working_;
  const int64_t limit_;
  const int threads_;
  const InstructionSet set_;
  Lattice lattice_;
  IndexRect frame_;
  std::atomic<double> peak_{0};
};

}  // namespace vello
