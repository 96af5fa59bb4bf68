#include "engine/render/render_job.h"

#include <unistd.h>

#include <cmath>
#include <cstring>

#include "engine/filters/output_range.h"
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
constexpr int64_t kStoreLimit = int64_t{512} << 20;

int64_t defaultMemoryLimit() {
  return static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<int64_t>(sysconf(_SC_PAGESIZE)) / 4;
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
    return kNoMemoryForRender;
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
  if (Buffer::bytesFor(rect) > static_cast<double>(limit_)) return tooMuch(Buffer::bytesFor(rect));
  out = Buffer(rect);
  return compute(program, rect, false, {},
                 [&](int64_t j, int64_t i, int n, const Run& run) { copyRun(run, out.at(i, j), n); });
}

std::string RenderJob::tooMuch(double need) const {
  return formatText(
      "this render needs %@ MB of memory at once and the limit is %@ MB",
      {std::to_string(static_cast<int64_t>(std::min(need / 1e6, 1e15))), std::to_string(limit_ / 1000000)});
}

// `tiles` are held at the same time.
std::string RenderJob::refuse(const Tiling& tiling, int64_t tiles, double area) const {
  const double bytes = keptBytes_ + tiling.bytes * static_cast<double>(tiles), work = tiling.work * area;
  if (bytes > static_cast<double>(limit_)) return tooMuch(bytes);
  if (!(work < std::min(kMostWork, kFreeWork + kMostWorkPerSample * area)))
    return "this render would take too long: its filters read too far";
  return {};
}

void RenderJob::hold(double bytes) {
  const double now = held_ += bytes;
  double seen = peak_;
  while (now > seen && !peak_.compare_exchange_weak(seen, now)) {
  }
}

std::string RenderJob::runReference(const Program& program, const IndexRect& frame,
                                    const Store& store) const {
  const Regions regions = regionsFor(program, frame, InstructionSet::baseline);
  const double bytes = regions.samples * 4 * sizeof(float);
  if (!(bytes < static_cast<double>(limit_))) return tooMuch(bytes);
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
