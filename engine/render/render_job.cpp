#include "engine/render/render_job.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>
#include <numeric>

#include "engine/filters/output_range.h"
#include "engine/plan/explanation.h"
#include "engine/render/floating_point_mode.h"
#include "engine/render/frame_gate.h"
#include "engine/render/parallel.h"
#include "engine/render/reference_evaluator.h"
#include "engine/render/render_cache.h"
#include "platform/log.h"

namespace vello {
namespace {

// Work that is refused, in samples of a plain colour formula: more than anybody waits for, and more than any
// recipe of sense asks for each sample of its result.
constexpr double kMostWork = 1e13, kFreeWork = 1e8, kMostWorkPerSample = 2e4;
// Steps that wait for one another's rows; each takes some of the thread's stack.
constexpr size_t kDeepestPasses = 4000;
constexpr char kNoMemory[] = "there is not enough memory for this render";
constexpr int64_t kStoreLimit = int64_t{512} << 20;
constexpr int64_t kCheckedSamples = 1 << 15;  // between two looks at whether the render was abandoned
constexpr char kAbandoned[] = "the render was abandoned";

int64_t defaultMemoryLimit() {
  return static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<int64_t>(sysconf(_SC_PAGESIZE)) / 4;
}

std::string tooMuch(double need, int64_t limit) {
  return formatText(
      "this render needs %@ MB of memory at once and the limit is %@ MB",
      {std::to_string(static_cast<int64_t>(std::min(need / 1e6, 1e15))), std::to_string(limit / 1000000)});
}

// The numbers of a grid's parts, those in the middle first.
std::vector<int64_t> fromTheMiddle(int64_t across, int64_t down) {
  std::vector<int64_t> order(static_cast<size_t>(across * down));
  std::iota(order.begin(), order.end(), 0);
  const auto away = [=](int64_t part) {
    const int64_t x = 2 * (part % across) - across + 1, y = 2 * (part / across) - down + 1;
    return x * x + y * y;
  };
  std::stable_sort(order.begin(), order.end(), [&](int64_t a, int64_t b) { return away(a) < away(b); });
  return order;
}

bool mayMoveTexels(const Node& node) {
  return node.type == Node::Type::affine || node.type == Node::Type::crop ||
         (node.type == Node::Type::kernel && node.ops->kind == Kind::warp);
}

// Roughly, in samples of a plain colour formula.
double workPerSample(const Program& program) {
  const double pitch = program.steps[static_cast<size_t>(program.root)].lattice.pitch;
  double work = 0;
  for (const Step& step : program.steps)
    work += workOf(step) * (pitch / step.lattice.pitch) * (pitch / step.lattice.pitch);
  return work;
}

ColorSpacePtr matrixSpace(const ColorSpacePtr& space) { return space && space->isMatrix() ? space : nullptr; }

}  // namespace

// Tells how much is done and takes the first error of any thread.
class RenderJob::Progress {
 public:
  // Of `area` samples, which are this share of the render.
  Progress(const std::function<bool(double)>& told, const Share& share, double area)
      : told_(told), share_(share), area_(area) {}
  bool stopped() const { return stopped_; }
  bool fail(std::string text) {
    const std::lock_guard lock(mutex_);
    if (error_.empty()) error_ = std::move(text);
    stopped_ = true;
    return false;
  }
  bool finished(double samples) {
    {
      const std::lock_guard lock(mutex_);
      done_ += samples;
      if (!told_ || told_(std::min(1.0, share_.begin + share_.size * done_ / area_))) return true;
    }
    return fail(kAbandoned);
  }
  const std::string& error() const { return error_; }

 private:
  std::mutex mutex_;
  std::string error_;
  std::atomic<bool> stopped_{false};
  double done_ = 0;
  const std::function<bool(double)>& told_;
  const Share share_;
  const double area_;
};

RenderJob::RenderJob(const ContextOptions& options, const RenderRequest& request)
    : options_(options),
      request_(request),
      working_(matrixSpace(options.workingColorSpace)),
      limit_(options.memoryLimit > 0 ? options.memoryLimit : defaultMemoryLimit()),
      storeLimit_(options.storeLimit > 0 ? options.storeLimit : std::min(kStoreLimit, limit_ / 4)),
      threads_(options.threads > 0 ? options.threads : coreCount()),
      set_(std::min(options.instructionSet, bestInstructionSet())),
      recipe_(request.image) {
  const double p = request.pitch;
  const auto width = static_cast<int64_t>(std::ceil(request.rect.size.width / p - 1e-6));
  const auto height = static_cast<int64_t>(std::ceil(request.rect.size.height / p - 1e-6));
  // The top row lies at the rectangle's upper edge.
  const double left = request.rect.origin.x, top = request.rect.origin.y + request.rect.size.height;
  lattice_ = {left - std::floor(left / p) * p, top - std::floor(top / p) * p, p, request.quality};
  frame_.x0 = static_cast<int64_t>(std::floor(left / p));
  frame_.y1 = static_cast<int64_t>(std::floor(top / p));
  frame_.x1 = frame_.x0 + width;
  frame_.y0 = frame_.y1 - height;
}

ProgramOptions RenderJob::programOptions() {
  ProgramOptions o;
  o.working = working_;
  o.workingMatrix = working_ ? working_->fromSRGB().data() : nullptr;
  o.set = set_;
  if (options_.cache && !options_.reference)
    o.pyramid = [this](const Bitmap& bitmap) { return options_.cache->pyramidOf(bitmap); };
  o.direct = options_.reference;
  o.kept = kept_;
  o.renderWhole = [this](Program& program, const IndexRect& rect, Buffer& out) {
    return whole(program, rect, out);
  };
  return o;
}

std::string RenderJob::build(Program& program) {
  return buildProgram(recipe_, lattice_, programOptions(), program);
}

// Finds out how fine the samples may be. Means of finer ones are taken of what the result can hold, not of
// light beyond that.
void RenderJob::settle(const PixelLayout& layout, const ColorSpacePtr& space) {
  lattice_.quality = affordableQuality(request_.image, lattice_, programOptions());
  const bool clips = !layout.isFloat && space && space->model() == ColorSpace::Model::rgb;
  if (clips && isFinerThanAsked(request_.image, lattice_))
    recipe_ = withinRange(request_.image, *space, working_);
}

std::string RenderJob::run(const PixelLayout& layout, const ColorSpacePtr& space, uint8_t* pixels) {
  const FloatingPointMode mode;
  std::optional<FrameGate::Frame> frame;
  if (options_.frame) frame.emplace(FrameGate::shared());
  settle(layout, space);
  keepCommon();
  const PixelWriter writer(layout, space, working_, set_);
  std::string error;
  do {
    keptTooShort_ = false;
    Program program;
    if (error = build(program); !error.empty()) continue;
    program.encoded = staysEncoded(program, writer);
    error =
        compute(program, frame_, false, kAll, writingTo(writer, program.encoded, layout, pixels, frame_.y1));
  } while (keptTooShort_);
  return error;
}

bool RenderJob::staysEncoded(const Program& program, const PixelWriter& writer) const {
  const TexelSource* source = options_.reference ? nullptr : movedTexels(program);
  return source && sameSpace(source->space(), writer.space());
}

PartOptions RenderJob::partOptions(bool straight) const {
  PartOptions o;
  o.threads = threads_;
  o.tileSide = options_.tileSide;
  o.set = set_;
  o.bytesInMemory = static_cast<double>(storeLimit_);
  o.straight = straight;
  o.keep = !options_.reference;
  return o;
}

// Any rectangle of a program's root.
std::string RenderJob::compute(Program& program, const IndexRect& rect, bool straight, Share share,
                               const Store& store) {
  if (options_.reference) return runReference(program, rect, store);
  try {
    std::vector<Part> parts;
    std::string error = plan(program, rect, straight, share, parts);
    if (error.empty()) error = computeKept(program, parts, share);
    if (error.empty())
      error = runTiles(program, parts.back().passes, parts.back().tiling, rect, share, store);
    for (const Part& part : parts) drop(program, part);
    return error;
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

std::string RenderJob::plan(Program& program, const IndexRect& rect, bool straight, const Share& share,
                            std::vector<Part>& parts) {
  Progress progress(request_.progress, share, rect.area());
  PartOptions options = partOptions(straight);
  options.goOn = [&] {
    return abandoned() && (*abandoned())() ? progress.fail(kAbandoned) : progress.finished(0);
  };
  parts = planParts(program, rect, options);
  return progress.error();
}

// All parts but the last. Takes what they are of the share from it.
std::string RenderJob::computeKept(Program& program, std::vector<Part>& parts, Share& share) {
  double all = 0;
  for (const Part& part : parts) {
    if (std::string error = refuse(part.tiling, threadsFor(part), part.rect.area()); !error.empty())
      return error;
    all += part.work();
  }
  for (size_t p = 0; p + 1 < parts.size(); ++p) {
    Part& part = parts[p];
    if (part.rect.empty()) continue;
    std::string error;
    const auto kept = SampleStore::create(part.rect, part.bytesInMemory, &error);
    if (!kept) return "this render " + error;
    hold(part.bytesInMemory);
    keptBytes_ += part.bytesInMemory;
    const Share own{share.begin, share.size * part.work() / all};
    {
      const PartScope scope(program, part);
      error = runTiles(
          program, part.passes, part.tiling, part.rect, own,
          [&](int64_t j, int64_t i, int n, const Run& run) { kept->write(j, i, n, run, rowLoops(set_)); });
    }
    program.steps[static_cast<size_t>(part.step)].store = kept;
    if (!error.empty()) return error;
    share.begin += own.size, share.size -= own.size;
    all -= part.work();
    for (size_t k = 0; k < p; ++k)
      if (parts[k].lastReader == p) drop(program, parts[k]);
  }
  return {};
}

void RenderJob::drop(Program& program, const Part& part) {
  std::shared_ptr<SampleStore>& store = program.steps[static_cast<size_t>(part.step)].store;
  if (!store) return;
  hold(-part.bytesInMemory);
  keptBytes_ -= part.bytesInMemory;
  store = nullptr;
}

// Reads what earlier renders have left from now on, and leaves what this recipe has in common with the last.
void RenderJob::keepCommon() {
  if (!options_.cache || options_.reference) return;
  if (mayMoveTexels(*request_.image.node())) {
    Program whole;
    // Moved texels are written as they are; kept, they would be light.
    if (!build(whole).empty() || movedTexels(whole)) return;
  }
  kept_ = [this](const Digest& recipe, const Lattice& lattice) {
    return options_.cache->find(recipe, lattice);
  };
  const auto start = std::chrono::steady_clock::now();
  const std::vector<NodePtr> roots = options_.cache->inCommonWithLast(request_.image.node());
  Program program;
  std::optional<Regions> regions;
  if (!roots.empty() && build(program).empty())
    for (const NodePtr& root : roots) keep(program, root, regions);
  keepingSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Whether kept samples reach as far as they are read. Those that do not are forgotten.
bool RenderJob::keptReach(const Program& program, const Regions& regions) {
  bool all = true;
  for (size_t k = 0; k < program.steps.size(); ++k) {
    const auto& stored = program.steps[k].stored;
    const IndexRect& needed = regions.steps[k];
    if (!stored || needed.empty() || intersection(stored->samples.rect(), needed) == needed) continue;
    options_.cache->drop(*stored);
    all = false;
  }
  if (!all) keptTooShort_ = true;
  return all;
}

// Computes the samples of a part of the program for itself, where later renders gain by it. `regions` are the
// program's, computed when they are needed.
void RenderJob::keep(const Program& program, const NodePtr& node, std::optional<Regions>& regions) {
  size_t k = program.steps.size();
  while (k > 0 && program.steps[k - 1].node->digest != node->digest) --k;
  if (k == 0 || program.steps[--k].op == Step::Op::stored) return;
  const Step& step = program.steps[k];
  constexpr double leastWork = 4;  // of a sample
  Program part;
  if (!buildProgram(CIImage(node), step.lattice, programOptions(), part).empty()) return;
  if (workPerSample(part) < leastWork) return;
  if (!regions) regions = regionsFor(program, frame_, set_);
  const IndexRect needed = regions->steps[k];
  if (needed.empty() || Buffer::bytesFor(needed) > static_cast<double>(options_.cache->bytes())) return;
  auto samples = std::make_shared<KeptSamples>();
  samples->recipe = node->digest;
  samples->lattice = step.lattice;
  samples->straight = step.straight && fusePasses(program).keptBy[k] < 0;
  samples->samples = Buffer(needed);
  const std::string error = compute(
      part, needed, samples->straight, {},
      [&](int64_t j, int64_t i, int n, const Run& run) { copyRun(run, samples->samples.at(i, j), n); });
  if (error.empty()) options_.cache->keep(std::move(samples));
}

// Stores rows below `top` into pixels, the first of which is the row below it.
RenderJob::Store RenderJob::writingTo(const PixelWriter& writer, bool encoded, const PixelLayout& layout,
                                      uint8_t* pixels, int64_t top) const {
  const int64_t bytesPerRow = layout.bytesPerRow, bytesPerPixel = layout.bytesPerPixel(), left = frame_.x0;
  const auto at = [=](int64_t j, int64_t i) {
    return pixels + (top - 1 - j) * bytesPerRow + (i - left) * bytesPerPixel;
  };
  const auto row = [=, &writer](int64_t j, int64_t i, int n, const Run& run) {
    const PlanarRun samples{run.r, run.g, run.b, run.a};
    encoded ? writer.writeEncoded(samples, n, at(j, i)) : writer.write(samples, n, at(j, i));
  };
  const auto repeat = [=](int64_t j, int64_t i, int64_t n) {
    if (j + 1 >= top) return false;
    std::memcpy(at(j, i), at(j + 1, i), static_cast<size_t>(n * bytesPerPixel));
    return true;
  };
  return {row, repeat};
}

// Tables, reductions, foreign frames: one rectangle of another program.
std::string RenderJob::whole(Program& program, const IndexRect& rect, Buffer& out) {
  if (Buffer::bytesFor(rect) > static_cast<double>(limit_)) return tooMuch(Buffer::bytesFor(rect), limit_);
  out = Buffer(rect);
  return compute(program, rect, false, {},
                 [&](int64_t j, int64_t i, int n, const Run& run) { copyRun(run, out.at(i, j), n); });
}

// `tiles` are held at the same time.
std::string RenderJob::refuse(const Tiling& tiling, int64_t tiles, double area) const {
  const double bytes = keptBytes_ + tiling.bytes * static_cast<double>(tiles), work = tiling.work * area;
  if (bytes > static_cast<double>(limit_)) return tooMuch(bytes, limit_);
  if (!(work < std::min(kMostWork, kFreeWork + kMostWorkPerSample * area)))
    return "this render would take too long: its filters read too far";
  return {};
}

Tiling RenderJob::needsOf(const Program& program, const Passes& passes, const IndexRect& tile,
                          const Regions& regions) const {
  return {tile.width(), tile.height(), bytesHeld(program, passes, tile, regions, set_),
          regions.samples / tile.area(), regions.work / tile.area()};
}

void RenderJob::hold(double bytes) {
  const double now = held_ += bytes;
  double seen = peak_;
  while (now > seen && !peak_.compare_exchange_weak(seen, now)) {
  }
}

// The next rows of a tile, in steps between which an abandoned render is noticed. `reserved` bytes are held
// already.
bool RenderJob::advance(RowEvaluator& evaluator, const IndexRect& tile, int64_t rows, double reserved,
                        Progress& progress, const Store& store) {
  const FloatingPointMode mode;
  try {
    const int64_t step = std::max<int64_t>(1, kCheckedSamples / tile.width());
    for (int64_t row = 0; row < rows; row += step) {
      if (progress.stopped()) return false;
      if (!options_.frame) FrameGate::shared().waitForFrames();
      const double before = std::max(reserved, evaluator.bytes());
      evaluator.advance(std::min(step, rows - row), store);
      hold(std::max(reserved, evaluator.bytes()) - before);
      if (held_ > static_cast<double>(limit_)) return progress.fail(tooMuch(held_, limit_));
      if (!progress.finished(static_cast<double>(std::min(step, rows - row) * tile.width()))) return false;
    }
  } catch (const std::bad_alloc&) {
    return progress.fail(kNoMemory);
  } catch (const RenderAbandoned&) {
    return progress.fail(kAbandoned);
  } catch (const SampleStore::Failure& failure) {
    return progress.fail(failure.what());
  }
  return true;
}

std::string RenderJob::runTiles(const Program& program, const Passes& passes, const Tiling& tiling,
                                const IndexRect& frame, const Share& share, const Store& store) {
  if (passes.list.size() > kDeepestPasses) return "this recipe has too many filters that wait for each other";
  const Tiles tiles{frame, tiling.width, tiling.height};
  const int threads = static_cast<int>(std::min<int64_t>(threads_, tiles.count()));
  if (std::string error = refuse(tiling, threads, frame.area()); !error.empty()) return error;
  Progress progress(request_.progress, share, frame.area());
  const bool tellTiles = share.ofResult && request_.finished;
  const std::vector<int64_t> order =
      tellTiles ? fromTheMiddle(tiles.across(), tiles.down()) : std::vector<int64_t>();
  std::mutex telling;
  runParts(tiles.count(), threads, [&](int64_t k) {
    const IndexRect tile = tiles.at(tellTiles ? order[static_cast<size_t>(k)] : k);
    try {
      Regions regions = regionsFor(program, tile, set_);
      if (!keptReach(program, regions)) return progress.fail("kept samples are too short");
      // Tiles differ where something is moved: none starts that would not fit.
      const Tiling needs = needsOf(program, passes, tile, regions);
      if (std::string error = refuse(needs, threads, tile.area()); !error.empty())
        return progress.fail(error);
      RowEvaluator evaluator(program, passes, tile, std::move(regions), set_, abandoned());
      // What it is going to take counts from the start: other tiles take theirs meanwhile.
      hold(needs.bytes);
      const bool done = advance(evaluator, tile, tile.height(), needs.bytes, progress, store);
      hold(-std::max(needs.bytes, evaluator.bytes()));
      if (!done || !tellTiles) return done;
      const std::lock_guard lock(telling);
      request_.finished({tile.x0 - frame.x0, frame.y1 - tile.y1, tile.x1 - frame.x0, frame.y1 - tile.y0});
      return true;
    } catch (const std::bad_alloc&) {
      return progress.fail(kNoMemory);
    }
  });
  return progress.error();
}

std::string RenderJob::runBands(const PixelLayout& layout, const ColorSpacePtr& space,
                                const BandCallbacks& callbacks) {
  const FloatingPointMode mode;
  Program program;
  settle(layout, space);
  if (std::string error = build(program); !error.empty()) return error;
  const PixelWriter writer(layout, space, working_, set_);
  program.encoded = staysEncoded(program, writer);
  const std::vector<SourceRows> everything = wholeSources(program);
  std::vector<Part> parts;
  Share share = kAll;
  if (std::string error = plan(program, frame_, false, share, parts); !error.empty()) return error;
  const Passes& passes = parts.back().passes;
  const Tiling& tiling = parts.back().tiling;
  // Where something is interpolated, every band has tiles of its own. Else there are strips from the top to
  // the bottom of the picture, all of which go on from band to band.
  const bool tiled = interpolates(passes);
  const int64_t width = std::clamp<int64_t>((frame_.width() + 2 * threads_ - 1) / (2 * threads_), 512, 4096);
  const int64_t strips = (frame_.width() + width - 1) / width;
  const IndexRect first{frame_.x0, frame_.y0, std::min(frame_.x1, frame_.x0 + width), frame_.y1};
  if (!tiled) {
    const Tiling needs = needsOf(program, passes, first, regionsFor(program, first, set_));
    if (std::string error = refuse(needs, strips, frame_.area()); !error.empty()) return error;
  }
  std::vector<IndexRect> tiles;
  std::vector<std::unique_ptr<RowEvaluator>> evaluators;
  for (int64_t x = frame_.x0; !tiled && x < frame_.x1; x += width) {
    tiles.push_back({x, frame_.y0, std::min(frame_.x1, x + width), frame_.y1});
    Regions regions = regionsFor(program, tiles.back(), set_);
    evaluators.push_back(
        std::make_unique<RowEvaluator>(program, passes, tiles.back(), std::move(regions), set_, abandoned()));
  }
  const int64_t bandBytes = (tiled ? 32 : 8) << 20, leastRows = 16, mostRows = tiled ? 4096 : 256;
  int64_t rows = std::clamp(bandBytes / std::max<int64_t>(1, layout.bytesPerRow), leastRows, mostRows);
  if (tiled && rows > tiling.height) rows -= rows % tiling.height;
  std::vector<uint8_t> bytes(static_cast<size_t>(std::min(rows, frame_.height()) * layout.bytesPerRow));
  if (tiled) {
    // What is moved may come from anywhere.
    if (std::string error = callbacks.provide(everything); !error.empty()) return error;
    if (std::string error = computeKept(program, parts, share); !error.empty()) return error;
  }
  Progress progress(request_.progress, kAll, frame_.area());
  for (int64_t top = frame_.y1; top > frame_.y0; top -= rows) {
    const int64_t count = std::min(rows, top - frame_.y0);
    const IndexRect band{frame_.x0, top - count, frame_.x1, top};
    const auto read = tiled ? wholeSources(program) : sourceRows(program, band);
    if (std::string error = callbacks.provide(read); !error.empty()) return error;
    const Store store = writingTo(writer, program.encoded, layout, bytes.data(), top);
    if (tiled) {
      const Share own{share.begin + share.size * static_cast<double>(frame_.y1 - top) /
                                        static_cast<double>(frame_.height()),
                      share.size * static_cast<double>(count) / static_cast<double>(frame_.height())};
      if (std::string error = runTiles(program, passes, tiling, band, own, store); !error.empty())
        return error;
    } else {
      runParts(strips, threads_, [&](int64_t k) {
        const auto strip = static_cast<size_t>(k);
        return advance(*evaluators[strip], tiles[strip], count, 0, progress, store);
      });
    }
    if (!progress.error().empty()) return progress.error();
    if (std::string error = callbacks.write(frame_.y1 - top, count, bytes.data(), layout.bytesPerRow);
        !error.empty())
      return error;
  }
  return {};
}

// All texels of the bitmaps that the root reads, none of the others.
std::vector<SourceRows> RenderJob::wholeSources(const Program& program) {
  const std::vector<bool> read = stepsRead(program);
  std::vector<SourceRows> list;
  for (const auto& [serial, source] : program.sources) {
    const int64_t height = source->height(0);
    list.push_back({serial, height, height});
    for (size_t k = 0; k < program.steps.size(); ++k)
      for (const GridEdge& edge : program.steps[k].edges)
        if (read[k] && edge.source == source.get()) list.back().begin = 0;
  }
  return list;
}

// The texels a band reads of every bitmap.
std::vector<SourceRows> RenderJob::sourceRows(const Program& program, const IndexRect& band) const {
  const Regions regions = regionsFor(program, band, set_);
  std::vector<SourceRows> list;
  for (const auto& [serial, source] : program.sources) {
    IndexRect all;
    for (size_t k = 0; k < program.steps.size(); ++k)
      for (size_t e = 0; e < regions.edges[k].size(); ++e) {
        const GridEdge& edge = program.steps[k].edges[e];
        const IndexRect& box = regions.edges[k][e];
        const int level = edge.level;
        if (edge.source == source.get() && !box.empty())
          all = unionOf(all, {0, box.y0 << level, 1, box.y1 << level});
      }
    const int64_t height = source->height(0);
    if (!all.empty())
      list.push_back({serial, height - std::min(height, all.y1), height - std::max<int64_t>(0, all.y0)});
  }
  return list;
}

bool RenderJob::readsInBands(const Bitmap& bitmap) {
  Program program;
  if (!build(program).empty()) return false;
  const auto source = program.sources.find(bitmap.serial());
  for (const Step& step : program.steps)
    for (const GridEdge& edge : step.edges) {
      const bool inOrder = step.followsRows() && edge.toGrid.d > 0;
      const bool reads = source != program.sources.end() && edge.source == source->second.get();
      if (!inOrder && (edge.step >= 0 || reads)) return false;
    }
  return program.tables.empty() && program.found.empty();
}

std::string RenderJob::explain(RenderPlan& plan) {
  const FloatingPointMode mode;
  Program program;
  settle({}, nullptr);
  if (std::string error = build(program); !error.empty()) return error;
  std::vector<Part> parts = planParts(program, frame_, partOptions(false));
  plan.predictedBytes = peak_;  // held while the program was built
  std::string error;
  for (size_t p = 0; p < parts.size(); ++p) {
    Part& part = parts[p];
    const PartScope scope(program, part);
    part.tiling.bytes = largestTile(program, part);
    const int threads = threadsFor(part);
    if (error.empty()) error = refuse(part.tiling, threads, part.rect.area());
    plan.predictedBytes = std::max(plan.predictedBytes, bytesKept(parts, p) + part.tiling.bytes * threads);
    plan.predictedSamples += part.tiling.samples * part.rect.area();
  }
  plan.text = explanation(program, parts);
  return error;
}

int RenderJob::threadsFor(const Part& part) const {
  const Tiles tiles{part.rect, part.tiling.width, part.tiling.height};
  if (part.rect.empty()) return 0;
  return tiles.areMany() ? threads_ : static_cast<int>(std::min<int64_t>(threads_, tiles.count()));
}

// What the neediest tile of a part holds.
double RenderJob::largestTile(const Program& program, const Part& part) const {
  // Without interpolation all tiles are alike.
  const Tiles tiles{part.rect, part.tiling.width, part.tiling.height};
  if (!interpolates(part.passes) || tiles.areMany()) return part.tiling.bytes;
  double most = part.tiling.bytes;
  std::mutex mutex;
  runParts(tiles.count(), threads_, [&](int64_t k) {
    const FloatingPointMode mode;
    const IndexRect tile = tiles.at(k);
    const Regions regions = regionsFor(program, tile, set_, movesToPlan(tile));
    const double bytes = bytesHeld(program, part.passes, tile, regions, set_);
    const std::lock_guard lock(mutex);
    most = std::max(most, bytes);
    return true;
  });
  return most;
}

std::string RenderJob::runReference(const Program& program, const IndexRect& frame,
                                    const Store& store) const {
  const Regions regions = regionsFor(program, frame, InstructionSet::baseline);
  const double bytes = regions.samples * 4 * sizeof(float);
  if (!(bytes < static_cast<double>(limit_))) return tooMuch(bytes, limit_);
  const Buffer samples = evaluateReference(program, regions);
  const Scratch scratch(frame.width());
  for (int64_t j = frame.y0; j < frame.y1; ++j) {
    const Run row = scratch.run();
    for (int64_t i = frame.x0; i < frame.x1; ++i) row.set(static_cast<int>(i - frame.x0), samples.get(i, j));
    store.row(j, frame.x0, static_cast<int>(frame.width()), row);
  }
  return {};
}

}  // namespace vello
