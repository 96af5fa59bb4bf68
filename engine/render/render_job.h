// One render: a program, its tiles, all cores. render_job.cpp computes rectangles, render_tiles.cpp their
// tiles; render_bands.cpp goes from file to file, render_keeping.cpp leaves samples for later renders,
// render_explanation.cpp tells what would be done.
#pragma once

#include <atomic>
#include <functional>
#include <optional>

#include "engine/plan/parts.h"
#include "engine/render/context.h"
#include "engine/render/render_progress.h"
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
  bool readsInBands();
  Quality affordableQuality();
  std::string explain(RenderPlan& plan);

 private:
  using Store = RowEvaluator::Store;
  using Progress = RenderProgress;
  using Share = RenderShare;
  using TakeRows = std::function<int64_t(int64_t most)>;  // how many come next, 0 at the end
  static constexpr Share kAll{0, 1, true};

  ProgramOptions programOptions();
  std::string build(Program& program);
  void settle(const PixelLayout& layout, const ColorSpacePtr& space);
  void keepCommon();
  void keep(const Program& program, const NodePtr& node, std::optional<Regions>& regions);
  bool keptReach(const Program& program, const Regions& regions);
  std::string whole(Program& program, const IndexRect& rect, Buffer& out);
  Tiling needsOf(const Program& program, const Passes& passes, const IndexRect& tile,
                 const Regions& regions) const;
  std::string tooMuch(double need) const;
  std::string refuse(const Tiling& tiling, int64_t tiles, double area) const;
  int threadsFor(const IndexRect& rect, const Tiling& tiling) const;
  double largestTile(const Program& program, const Part& part) const;
  PartOptions partOptions(bool straight) const;
  std::string plan(Program& program, const IndexRect& rect, bool straight, bool keep, const Share& share,
                   std::vector<Part>& parts);
  std::string compute(Program& program, const IndexRect& rect, bool straight, Share share,
                      const Store& store);
  std::string computeKept(Program& program, std::vector<Part>& parts, Share& share);
  void drop(Program& program, const Part& part);
  Regions regionsOf(const Program& program, const Part& part, const IndexRect& frame,
                    const IndexRect& tile) const;
  struct TileWork;
  std::string runTiles(const Program& program, const Part& part, const IndexRect& frame, const Share& share,
                       const Store& store);
  bool runThread(TileWork& work, size_t thread);
  bool runTile(TileWork& work, size_t thread, const IndexRect& tile);
  void tell(TileWork& work, const IndexRect& done) const;
  bool advance(RowEvaluator& evaluator, int64_t width, const TakeRows& take, double reserved,
               Progress& progress, const Store& store);
  bool staysEncoded(const Program& program, const PixelWriter& writer) const;
  Store writingTo(const PixelWriter& writer, bool encoded, const PixelLayout& layout, uint8_t* pixels,
                  int64_t top) const;
  static std::vector<SourceRows> wholeSources(const Program& program);
  bool readsInBands(const Program& program) const;
  std::vector<SourceRows> sourceRows(const Program& program, const IndexRect& band) const;
  const std::function<bool()>* abandoned() const {
    return request_.abandoned ? &request_.abandoned : nullptr;
  }
  bool tellsTiles(const Share& share) const { return share.ofResult && request_.finished; }
  void hold(double bytes);
  std::string runReference(const Program& program, const IndexRect& frame, const Store& store) const;

  const ContextOptions& options_;
  const RenderRequest& request_;
  const ColorSpacePtr working_;
  const int64_t limit_, storeLimit_;
  const int threads_;
  const InstructionSet set_;
  std::function<std::shared_ptr<const KeptSamples>(const Digest&, const Lattice&)> kept_;
  CIImage recipe_;  // what is rendered of the request
  Lattice lattice_;
  IndexRect frame_;
  double keptBytes_ = 0;  // of samples in memory that later parts read
  std::atomic<double> held_{0}, peak_{0};
  std::atomic<bool> keptTooShort_{false};  // then what was computed does not count
  double keepingSeconds_ = 0;
};

}  // namespace vello
