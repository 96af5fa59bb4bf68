#include "engine/render/context.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>

#include "engine/render/evaluator.h"
#include "engine/render/floating_point_mode.h"
#include "engine/render/parallel.h"
#include "platform/log.h"
#include "platform/pixel_conversion.h"

namespace vello {
namespace {

// Tiles are chosen so that a thread's intermediates stay below this where they can.
constexpr double kComfortableBytes = 48 << 20;
constexpr int kUsualSide = 512, kLeastSide = 64, kMostSide = 4096;
constexpr double kMostSamples = 1e13;

int64_t defaultMemoryLimit() {
  return static_cast<int64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<int64_t>(sysconf(_SC_PAGESIZE)) / 4;
}

std::string tooMuch(double need, int64_t limit) {
  return formatText("this render needs %@ MB of memory at once and the limit is %@ MB",
                    {std::to_string(static_cast<int64_t>(need / 1e6)), std::to_string(limit / 1000000)});
}

// Row-major linear sRGB to the working space's primaries.
struct WorkingSpace {
  explicit WorkingSpace(const ColorSpacePtr& space) : space_(space && space->isMatrix() ? space : nullptr) {}
  const ColorSpacePtr& space() const { return space_; }
  const double* matrix() const { return space_ ? space_->fromSRGB().data() : nullptr; }

 private:
  ColorSpacePtr space_;
};

class Render {
 public:
  Render(const ContextOptions& options, const RenderRequest& request)
      : options_(options),
        request_(request),
        working_(options.workingColorSpace),
        limit_(options.memoryLimit > 0 ? options.memoryLimit : defaultMemoryLimit()) {
    const double p = request.pitch;
    width_ = static_cast<int64_t>(std::ceil(request.rect.size.width / p - 1e-6));
    height_ = static_cast<int64_t>(std::ceil(request.rect.size.height / p - 1e-6));
    // The top row lies at the rectangle's upper edge.
    const double left = request.rect.origin.x, top = request.rect.origin.y + request.rect.size.height;
    lattice_ = {left - std::floor(left / p) * p, top - std::floor(top / p) * p, p};
    left_ = static_cast<int64_t>(std::floor(left / p));
    top_ = static_cast<int64_t>(std::floor(top / p));
  }

  int64_t width() const { return width_; }
  int64_t height() const { return height_; }
  int64_t peakBytes() const { return static_cast<int64_t>(peak_); }

  std::string run(const PixelLayout& layout, const ColorSpacePtr& space, uint8_t* pixels) {
    const FloatingPointMode mode;
    if (std::string error = buildProgram(request_.image, lattice_, programOptions(), program_);
        !error.empty())
      return error;
    const PixelWriter writer(layout, space, working_.space());
    return tiles([&](const Buffer& tile) {
      const IndexRect& r = tile.rect();
      for (int64_t j = r.y0; j < r.y1; ++j) {
        const Run run = tile.at(r.x0, j);
        uint8_t* row = pixels + (top_ - 1 - j) * layout.bytesPerRow + (r.x0 - left_) * layout.bytesPerPixel();
        writer.write({run.r, run.g, run.b, run.a}, static_cast<int>(r.width()), row);
      }
    });
  }

 private:
  ProgramOptions programOptions() {
    ProgramOptions o;
    o.working = working_.space();
    o.workingMatrix = working_.matrix();
    o.renderWhole = [this](const Program& program, const IndexRect& rect, Buffer& out) {
      return whole(program, rect, out);
    };
    return o;
  }

  Buffer evaluate(const Program& program, const Regions& regions) const {
    return options_.reference ? evaluateReference(program, regions) : evaluateRuns(program, regions);
  }

  // Tables and reductions: one rectangle, in tiles of one size whatever the render's.
  std::string whole(const Program& program, const IndexRect& rect, Buffer& out) {
    if (Buffer::bytesFor(rect) > static_cast<double>(limit_)) return tooMuch(Buffer::bytesFor(rect), limit_);
    out = Buffer(rect);
    out.clear();
    constexpr int64_t side = 512;
    for (int64_t j = rect.y0; j < rect.y1; j += side)
      for (int64_t i = rect.x0; i < rect.x1; i += side) {
        const IndexRect tile = intersection(rect, {i, j, i + side, j + side});
        const Regions regions = regionsFor(program, tile, static_cast<double>(limit_));
        if (regions.peakBytes > static_cast<double>(limit_)) return tooMuch(regions.peakBytes, limit_);
        const Buffer part = evaluate(program, regions);
        const IndexRect& r = part.rect();
        for (int64_t row = r.y0; row < r.y1; ++row) copyRun(part.at(r.x0, row), out.at(r.x0, row), r.width());
      }
    return {};
  }

  IndexRect frame() const { return {left_, top_ - height_, left_ + width_, top_}; }

  // Starts with a tile that suits point kernels; smaller where it would hold too much at once, larger while
  // that saves samples computed twice at tiles' borders.
  std::string chooseSide(int& side, int threads) const {
    side = options_.reference ? static_cast<int>(std::min<int64_t>(std::max(width_, height_), kIndexLimit))
                              : options_.tileSide;
    if (side > 0) return {};
    side = kUsualSide;
    Cost cost = costOf(side);
    while (cost.bytes > kComfortableBytes && side > kLeastSide) cost = costOf(side /= 2);
    for (int larger = side * 2; larger <= kMostSide; larger *= 2) {
      const Cost next = costOf(larger);
      if (next.bytes > kComfortableBytes || next.samples > 0.9 * cost.samples) break;
      side = larger;
      cost = next;
    }
    if (cost.bytes * threads > static_cast<double>(limit_)) return tooMuch(cost.bytes * threads, limit_);
    if (cost.samples * frame().area() > kMostSamples)
      return "this render would never end: its filters read too far";
    return {};
  }

  struct Cost {
    double bytes, samples;  // held at once; computed for each pixel
  };
  // Of the tile in the middle.
  Cost costOf(int64_t side) const {
    const IndexRect all = frame();
    const int64_t x = all.x0 + all.width() / 2 / side * side, y = all.y0 + all.height() / 2 / side * side;
    const IndexRect tile = intersection(all, {x, y, x + side, y + side});
    const Regions regions = regionsFor(program_, tile, static_cast<double>(limit_));
    return {regions.peakBytes, regions.samples / tile.area()};
  }

  template <class Store>
  std::string tiles(Store store) {
    const int threads = options_.reference ? 1 : coreCount();
    int side = 0;
    if (std::string error = chooseSide(side, threads); !error.empty()) return error;
    const IndexRect all = frame();
    const int64_t across = (all.width() + side - 1) / side, down = (all.height() + side - 1) / side;
    std::mutex mutex;
    std::string error;
    std::atomic<int64_t> done{0};
    const auto fail = [&](std::string text) {
      const std::lock_guard lock(mutex);
      if (error.empty()) error = std::move(text);
      return false;
    };
    runParts(across * down, threads, [&](int64_t part) {
      const FloatingPointMode mode;
      try {
        const int64_t x = all.x0 + part % across * side, y = all.y1 - (part / across + 1) * side;
        const IndexRect tile = intersection(all, {x, y, x + side, y + side});
        const Regions regions = regionsFor(program_, tile, static_cast<double>(limit_));
        if (regions.peakBytes * threads > static_cast<double>(limit_))
          return fail(tooMuch(regions.peakBytes * threads, limit_));
        notePeak(regions.peakBytes * threads);
        store(completed(evaluate(program_, regions), tile));
      } catch (const std::bad_alloc&) {
        return fail("there is not enough memory for this render");
      }
      const std::lock_guard lock(mutex);
      ++done;
      if (request_.progress &&
          !request_.progress(static_cast<double>(done) / static_cast<double>(across * down))) {
        if (error.empty()) error = "the render was abandoned";
        return false;
      }
      return true;
    });
    return error;
  }

  // The root's samples end at its extent; the tile goes on, transparent.
  static Buffer completed(Buffer samples, const IndexRect& tile) {
    if (samples.rect() == tile) return samples;
    Buffer whole(tile);
    whole.clear();
    const IndexRect& r = samples.rect();
    for (int64_t j = r.y0; j < r.y1; ++j) copyRun(samples.at(r.x0, j), whole.at(r.x0, j), r.width());
    return whole;
  }

  void notePeak(double bytes) {
    double seen = peak_;
    while (bytes > seen && !peak_.compare_exchange_weak(seen, bytes)) {
    }
  }

  const ContextOptions& options_;
  const RenderRequest& request_;
  const WorkingSpace working_;
  const int64_t limit_;
  int64_t width_ = 0, height_ = 0, left_ = 0, top_ = 0;
  Lattice lattice_;
  Program program_;
  std::atomic<double> peak_{0};
};

bool sameByteOrder(const PixelLayout& a, const PixelLayout& b) {
  return a.bitsPerComponent == 8 ? a.pixelBytesReversed == b.pixelBytesReversed
                                 : a.littleEndian == b.littleEndian;
}

bool sameBytes(const PixelLayout& a, const PixelLayout& b) {
  return a.bitsPerComponent == b.bitsPerComponent && a.componentsPerPixel == b.componentsPerPixel &&
         a.alpha == b.alpha && a.isFloat == b.isFloat && sameByteOrder(a, b);
}

bool sameSpace(const ColorSpacePtr& a, const ColorSpacePtr& b) {
  return a == b || (a && b && a->profile() == b->profile());
}

// Nothing changes the source and the layouts agree: its bytes are the result.
bool copySource(const RenderRequest& request, const PixelLayout& layout, const ColorSpacePtr& space,
                uint8_t* pixels) {
  const Bitmap* source = request.image.sourceBitmap();
  const CGRect& r = request.rect;
  if (!source || request.pitch != 1 || !sameBytes(source->layout(), layout) ||
      !sameSpace(source->space(), space))
    return false;
  const auto x = static_cast<int64_t>(r.origin.x), y = static_cast<int64_t>(r.origin.y);
  const bool whole = static_cast<double>(x) == r.origin.x && static_cast<double>(y) == r.origin.y &&
                     r.size.width == static_cast<double>(layout.width) &&
                     r.size.height == static_cast<double>(layout.height);
  if (!whole || x < 0 || y < 0 || x + layout.width > source->width() || y + layout.height > source->height())
    return false;
  const auto bytes = static_cast<size_t>(layout.width * layout.bytesPerPixel());
  const int64_t firstRow = source->height() - y - layout.height;
  for (int64_t row = 0; row < layout.height; ++row)
    std::memcpy(pixels + row * layout.bytesPerRow, source->row(firstRow + row) + x * layout.bytesPerPixel(),
                bytes);
  return true;
}

}  // namespace

std::string CIContext::render(const RenderRequest& request, const PixelLayout& layout,
                              const ColorSpacePtr& space, uint8_t* pixels,
                              RenderStatistics* statistics) const {
  const auto start = std::chrono::steady_clock::now();
  const ColorSpacePtr& target = options_.outputColorSpace ? options_.outputColorSpace : space;
  if (!(request.pitch > 0) || isEmpty(request.rect) || isInfinite(request.rect))
    return "there is nothing to render";
  if (target && !target->isMatrix()) return "the output colour space cannot be rendered into";
  RenderStatistics found;
  found.copiedSource = copySource(request, layout, target, pixels);
  std::string error;
  if (!found.copiedSource) {
    Render render(options_, request);
    if (render.width() != layout.width || render.height() != layout.height)
      return "the bitmap has another size than the rectangle";
    error = render.run(layout, target, pixels);
    found.peakBytes = render.peakBytes();
  }
  found.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (statistics) *statistics = found;
  return error;
}

Bitmap CIContext::createBitmap(const RenderRequest& request, PixelLayout layout, const ColorSpacePtr& space,
                               std::string* error, RenderStatistics* statistics) const {
  if (!(request.pitch > 0) || isEmpty(request.rect) || isInfinite(request.rect)) {
    *error = "there is nothing to render";
    return {};
  }
  const Render size(options_, request);
  layout.width = size.width();
  layout.height = size.height();
  constexpr int64_t longest = int64_t{1} << 31;
  if (layout.width > longest || layout.height > longest ||
      layout.width * layout.bytesPerPixel() > (int64_t{1} << 40) / layout.height) {
    *error = "the picture is too large to render";
    return {};
  }
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  std::vector<uint8_t> bytes;
  try {
    bytes.resize(static_cast<size_t>(layout.bytesPerRow * layout.height));
  } catch (const std::bad_alloc&) {
    *error = "there is not enough memory for the picture";
    return {};
  }
  *error = render(request, layout, space, bytes.data(), statistics);
  if (!error->empty()) return {};
  return {layout, options_.outputColorSpace ? options_.outputColorSpace : space, Data(std::move(bytes))};
}

}  // namespace vello
