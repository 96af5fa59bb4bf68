#include "engine/render/render_job.h"

#include <unistd.h>

#include <cmath>
#include <mutex>

#include "engine/render/floating_point_mode.h"
#include "engine/render/parallel.h"
#include "engine/render/reference_evaluator.h"
#include "engine/render/row_evaluator.h"
#include "platform/log.h"
#include "platform/pixel_conversion.h"

namespace vello {
namespace {

constexpr double kMostSamples = 1e13;
constexpr int64_t kCheckedSamples = 1 << 15;  // between two looks at whether the render was abandoned

int64_t defaultMemoryLimit() {
  return static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<int64_t>(sysconf(_SC_PAGESIZE)) / 4;
}

std::string tooMuch(double need, int64_t limit) {
  return formatText(
      "this render needs %@ MB of memory at once and the limit is %@ MB",
      {std::to_string(static_cast<int64_t>(std::min(need / 1e6, 1e15))), std::to_string(limit / 1000000)});
}

ColorSpacePtr matrixSpace(const ColorSpacePtr& space) { return space && space->isMatrix() ? space : nullptr; }

}  // namespace

RenderJob::RenderJob(const ContextOptions& options, const RenderRequest& request)
    : options_(options),
      request_(request),
      working_(matrixSpace(options.workingColorSpace)),
      limit_(options.memoryLimit > 0 ? options.memoryLimit : defaultMemoryLimit()),
      threads_(options.threads > 0 ? options.threads : coreCount()),
      set_(std::min(options.instructionSet, bestInstructionSet())) {
  const double p = request.pitch;
  const auto width = static_cast<int64_t>(std::ceil(request.rect.size.width / p - 1e-6));
  const auto height = static_cast<int64_t>(std::ceil(request.rect.size.height / p - 1e-6));
  // The top row lies at the rectangle's upper edge.
  const double left = request.rect.origin.x, top = request.rect.origin.y + request.rect.size.height;
  lattice_ = {left - std::floor(left / p) * p, top - std::floor(top / p) * p, p};
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
  o.direct = options_.reference;
  o.renderWhole = [this](const Program& program, const IndexRect& rect, Buffer& out) {
    return whole(program, rect, out);
  };
  return o;
}

std::string RenderJob::build(Program& program) {
  return buildProgram(request_.image, lattice_, programOptions(), program);
}

std::string RenderJob::run(const PixelLayout& layout, const ColorSpacePtr& space, uint8_t* pixels) {
  const FloatingPointMode mode;
  Program program;
  if (std::string error = build(program); !error.empty()) return error;
  const PixelWriter writer(layout, space, working_, set_);
  return runTiles(program, frame_, true, [&](int64_t j, int64_t i, int n, const Run& run) {
    uint8_t* row =
        pixels + (frame_.y1 - 1 - j) * layout.bytesPerRow + (i - frame_.x0) * layout.bytesPerPixel();
    writer.write({run.r, run.g, run.b, run.a}, n, row);
  });
}

// Tables, reductions, foreign frames: one rectangle of another program.
std::string RenderJob::whole(const Program& program, const IndexRect& rect, Buffer& out) {
  if (Buffer::bytesFor(rect) > static_cast<double>(limit_)) return tooMuch(Buffer::bytesFor(rect), limit_);
  out = Buffer(rect);
  return runTiles(program, rect, false,
                  [&](int64_t j, int64_t i, int n, const Run& run) { copyRun(run, out.at(i, j), n); });
}

std::string RenderJob::refuse(const Tiling& tiling, int threads, double area) const {
  if (tiling.bytes * threads > static_cast<double>(limit_)) return tooMuch(tiling.bytes * threads, limit_);
  if (!(tiling.samples * area < kMostSamples)) return "this render would never end: its filters read too far";
  return {};
}

std::string RenderJob::runTiles(const Program& program, const IndexRect& frame, bool report,
                                const Store& store) {
  if (options_.reference) return runReference(program, frame, store);
  const Passes passes = fusePasses(program);
  const Tiling tiling = chooseTiling(program, passes, frame, threads_, options_.tileSide, set_);
  const int64_t across = (frame.width() + tiling.width - 1) / tiling.width;
  const int64_t down = (frame.height() + tiling.height - 1) / tiling.height;
  const int threads = static_cast<int>(std::min<int64_t>(threads_, across * down));
  if (std::string error = refuse(tiling, threads, frame.area()); !error.empty()) return error;
  double seen = peak_;
  while (tiling.bytes * threads > seen && !peak_.compare_exchange_weak(seen, tiling.bytes * threads)) {
  }
  std::mutex mutex;
  std::string error;
  std::atomic<bool> stopped{false};
  double done = 0;
  const auto fail = [&](std::string text) {
    const std::lock_guard lock(mutex);
    if (error.empty()) error = std::move(text);
    stopped = true;
    return false;
  };
  const auto finished = [&](double samples) {
    const std::lock_guard lock(mutex);
    done += samples;
    if (!report || !request_.progress || request_.progress(done / frame.area())) return true;
    if (error.empty()) error = "the render was abandoned";
    stopped = true;
    return false;
  };
  runParts(across * down, threads, [&](int64_t part) {
    const FloatingPointMode mode;
    try {
      const int64_t x = frame.x0 + part % across * tiling.width, y = frame.y1 - part / across * tiling.height;
      const IndexRect tile = intersection(frame, {x, y - tiling.height, x + tiling.width, y});
      RowEvaluator evaluator(program, passes, tile, set_);
      const int64_t rows = std::max<int64_t>(1, kCheckedSamples / tile.width());
      for (int64_t row = 0; row < tile.height(); row += rows) {
        if (stopped) return false;
        evaluator.advance(rows, store);
        const auto samples = static_cast<double>(std::min(rows, tile.height() - row) * tile.width());
        if (!finished(samples)) return false;
      }
    } catch (const std::bad_alloc&) {
      return fail("there is not enough memory for this render");
    }
    return true;
  });
  return error;
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
    store(j, frame.x0, static_cast<int>(frame.width()), row);
  }
  return {};
}

}  // namespace vello
