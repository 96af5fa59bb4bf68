#include "engine/render/render_job.h"

#include <unistd.h>

#include <cmath>
#include <cstring>
#include <mutex>
#include <numeric>

#include "engine/filters/output_range.h"
#include "engine/render/floating_point_mode.h"
#include "engine/render/frame_gate.h"
#include "engine/render/parallel.h"
#include "engine/render/reference_evaluator.h"
#include "engine/render/render_cache.h"
#include "engine/render/tile_queue.h"
#include "platform/log.h"

namespace vello {
namespace {

// Work that is refused, in samples of a plain colour formula: more than anybody waits for, and more than any
// recipe of sense asks for each sample of its result.
constexpr double kMostWork = 1e13, kFreeWork = 1e8, kMostWorkPerSample = 2e4;
// Steps that wait for one another's rows; each takes some of the thread's stack.
constexpr size_t kDeepestPasses = 4000;
constexpr double kWorkOfThread = 3e4;  // in the same; starting a thread takes as long
constexpr char kNoMemory[] = "there is not enough memory for this render";
constexpr int64_t kStoreLimit = int64_t{512} << 20;
constexpr int64_t kCheckedSamples = 1 << 15;  // between two looks at whether the render was abandoned

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

ColorSpacePtr matrixSpace(const ColorSpacePtr& space) { return space && space->isMatrix() ? space : nullptr; }

}  // namespace

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

Quality RenderJob::affordableQuality() {
  return vello::affordableQuality(request_.image, lattice_, programOptions());
}

// Finds out how fine the samples may be. Means of finer ones are taken of what the result can hold, not of
// light beyond that.
void RenderJob::settle(const PixelLayout& layout, const ColorSpacePtr& space) {
  lattice_.quality = affordableQuality();
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
  return o;
}

// Any rectangle of a program's root.
std::string RenderJob::compute(Program& program, const IndexRect& rect, bool straight, Share share,
                               const Store& store) {
  if (options_.reference) return runReference(program, rect, store);
  try {
    std::vector<Part> parts;
    std::string error = plan(program, rect, straight, true, share, parts);
    if (error.empty()) error = computeKept(program, parts, share);
    if (error.empty()) error = runTiles(program, parts.back(), rect, share, store);
    for (const Part& part : parts) drop(program, part);
    return error;
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

std::string RenderJob::plan(Program& program, const IndexRect& rect, bool straight, bool keep,
                            const Share& share, std::vector<Part>& parts) {
  Progress progress(request_.progress, share, rect.area());
  PartOptions options = partOptions(straight);
  options.keep = keep;
  options.told = tellsTiles(share);
  options.goOn = [&] {
    return abandoned() && (*abandoned())() ? progress.fail(kRenderAbandoned) : progress.finished(0);
  };
  parts = planParts(program, rect, options);
  return progress.error();
}

// All parts but the last. Takes what they are of the share from it.
std::string RenderJob::computeKept(Program& program, std::vector<Part>& parts, Share& share) {
  double all = 0;
  for (const Part& part : parts) {
    if (std::string error = refuse(part.tiling, threadsFor(part.rect, part.tiling), part.rect.area());
        !error.empty())
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
      error = runTiles(program, part, part.rect, own, [&](int64_t j, int64_t i, int n, const Run& run) {
        kept->write(j, i, n, run, rowLoops(set_));
      });
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

// As many as there are tiles, and work, for.
int RenderJob::threadsFor(const IndexRect& rect, const Tiling& tiling) const {
  const Tiles tiles{rect, tiling.width, tiling.height};
  if (rect.empty()) return 0;
  if (tiles.areMany()) return threads_;
  const double worthwhile = std::ceil(tiling.work * rect.area() / kWorkOfThread);
  return static_cast<int>(std::min(
      {static_cast<double>(threads_), static_cast<double>(tiles.count()), std::max(1.0, worthwhile)}));
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

// The rows of a tile that `take` gives, in steps between which an abandoned render is noticed. `reserved`
// bytes are held already.
bool RenderJob::advance(RowEvaluator& evaluator, int64_t width, const TakeRows& take, double reserved,
                        Progress& progress, const Store& store) {
  const FloatingPointMode mode;
  try {
    const int64_t step = std::max<int64_t>(1, kCheckedSamples / width);
    while (const int64_t rows = take(step)) {
      if (progress.stopped()) return false;
      if (!options_.frame) FrameGate::shared().waitForFrames();
      const double before = std::max(reserved, evaluator.bytes());
      evaluator.advance(rows, store);
      hold(std::max(reserved, evaluator.bytes()) - before);
      if (held_ > static_cast<double>(limit_)) return progress.fail(tooMuch(held_, limit_));
      if (!progress.finished(static_cast<double>(rows * width))) return false;
    }
  } catch (const std::bad_alloc&) {
    return progress.fail(kNoMemory);
  } catch (const RenderAbandoned&) {
    return progress.fail(kRenderAbandoned);
  } catch (const SampleStore::Failure& failure) {
    return progress.fail(failure.what());
  }
  return true;
}

// Those of a part's own tiles may be known.
Regions RenderJob::regionsOf(const Program& program, const Part& part, const IndexRect& frame,
                             const IndexRect& tile) const {
  if (frame == part.rect && !part.regions.empty()) {
    const int64_t k = Tiles{frame, part.tiling.width, part.tiling.height}.numberOf(tile);
    if (const Regions& known = part.regions[static_cast<size_t>(k)]; known.exact) return known;
  }
  return regionsFor(program, tile, set_);
}

std::string RenderJob::runTiles(const Program& program, const Part& part, const IndexRect& frame,
                                const Share& share, const Store& store) {
  const Passes& passes = part.passes;
  const Tiling& tiling = part.tiling;
  if (passes.list.size() > kDeepestPasses) return "this recipe has too many filters that wait for each other";
  const Tiles tiles{frame, tiling.width, tiling.height};
  const int threads = threadsFor(frame, tiling);
  if (std::string error = refuse(tiling, threads, frame.area()); !error.empty()) return error;
  Progress progress(request_.progress, share, frame.area());
  const bool told = tellsTiles(share);
  const double lead = threads > 1 ? leadRows(program, passes, tiles.at(0), set_) : 0;
  TileQueue queue(tiles, told ? fromTheMiddle(tiles.across(), tiles.down()) : std::vector<int64_t>(), lead,
                  threads);
  std::mutex telling;
  const auto run = [&](size_t thread, const IndexRect& tile) {
    Regions regions = regionsOf(program, part, frame, tile);
    if (!keptReach(program, regions)) return progress.fail("kept samples are too short");
    // Tiles differ where something is moved: none starts that would not fit.
    const Tiling needs = needsOf(program, passes, tile, regions);
    if (std::string error = refuse(needs, threads, tile.area()); !error.empty()) return progress.fail(error);
    RowEvaluator evaluator(program, passes, tile, std::move(regions), set_, abandoned());
    // What it is going to take counts from the start: other tiles take theirs meanwhile.
    hold(needs.bytes);
    IndexRect done{tile.x0, tile.y1, tile.x1, tile.y1};
    const auto take = [&](int64_t most) {
      const int64_t rows = queue.take(thread, most);
      done.y0 -= rows;
      return rows;
    };
    const bool good = advance(evaluator, tile.width(), take, needs.bytes, progress, store);
    hold(-std::max(needs.bytes, evaluator.bytes()));
    if (!good || !told || done.empty()) return good;
    const std::lock_guard lock(telling);
    request_.finished({done.x0 - frame.x0, frame.y1 - done.y1, done.x1 - frame.x0, frame.y1 - done.y0});
    return true;
  };
  runParts(threads, threads, [&](int64_t k) {
    const auto thread = static_cast<size_t>(k);
    try {
      for (IndexRect tile; !(tile = queue.next(thread)).empty();)
        if (!run(thread, tile)) return false;
      return true;
    } catch (const std::bad_alloc&) {
      return progress.fail(kNoMemory);
    }
  });
  return progress.error();
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
