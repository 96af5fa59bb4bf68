// One render: a program, its tiles, all cores.
#pragma once

#include <atomic>
#include <functional>

#include "engine/plan/tiling.h"
#include "engine/render/context.h"
#include "engine/render/row_evaluator.h"
#include "platform/pixel_conversion.h"

namespace vello {

class RenderJob {
 public:
  RenderJob(const ContextOptions& options, const RenderRequest& request);

  int64_t width() const { return frame_.width(); }
  int64_t height() const { return frame_.height(); }
  int64_t peakBytes() const { return static_cast<int64_t>(peak_); }
  double keepingSeconds() const { return keepingSeconds_; }
  std::string run(const PixelLayout& layout, const ColorSpacePtr& space, uint8_t* pixels);
  std::string runBands(const PixelLayout& layout, const ColorSpacePtr& space, const BandCallbacks& callbacks);
  bool readsInBands(const Bitmap& source);
  std::string explain(RenderPlan& plan);

 private:
  using Store = RowEvaluator::Store;
  // Tells how much is done and takes the first error of any thread.
  class Progress;

  ProgramOptions programOptions();
  std::string build(Program& program);
  std::string buildWithKept(Program& program);
  bool dropShort(const Program& program);
  void keep(const Program& program, const NodePtr& node);
  std::string whole(const Program& program, const IndexRect& rect, Buffer& out);
  Tiling needsOf(const Program& program, const Passes& passes, const IndexRect& tile,
                 const Regions& regions) const;
  std::string refuse(const Tiling& tiling, int64_t tiles, double area) const;
  std::string runTiles(const Program& program, const Passes& passes, const IndexRect& frame, bool report,
                       const Store& store);
  bool advance(RowEvaluator& evaluator, const IndexRect& tile, int64_t rows, double reserved,
               Progress& progress, const Store& store);
  Store writingTo(const PixelWriter& writer, const PixelLayout& layout, uint8_t* pixels, int64_t top) const;
  std::vector<SourceRows> sourceRows(const Program& program, const IndexRect& band) const;
  const std::function<bool()>* abandoned() const {
    return request_.abandoned ? &request_.abandoned : nullptr;
  }
  void hold(double bytes);
  std::string runReference(const Program& program, const IndexRect& frame, const Store& store) const;

  const ContextOptions& options_;
  const RenderRequest& request_;
  const ColorSpacePtr working_;
  const int64_t limit_;
  const int threads_;
  const InstructionSet set_;
  std::function<std::shared_ptr<const KeptSamples>(const Digest&, const Lattice&)> kept_;
  Lattice lattice_;
  IndexRect frame_;
  std::atomic<double> held_{0}, peak_{0};
  double keepingSeconds_ = 0;
};

}  // namespace vello
