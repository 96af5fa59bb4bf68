#include "engine/render/context.h"

#include <chrono>
#include <cstring>

#include "engine/render/render_job.h"

namespace vello {
namespace {

bool sameByteOrder(const PixelLayout& a, const PixelLayout& b) {
  return a.bitsPerComponent == 8 ? a.pixelBytesReversed == b.pixelBytesReversed
                                 : a.littleEndian == b.littleEndian;
}

bool sameBytes(const PixelLayout& a, const PixelLayout& b) {
  return a.bitsPerComponent == b.bitsPerComponent && a.componentsPerPixel == b.componentsPerPixel &&
         a.alpha == b.alpha && a.isFloat == b.isFloat && sameByteOrder(a, b);
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

std::string problemOf(const RenderRequest& request) {
  const bool something = request.pitch > 0 && !isEmpty(request.rect) && !isInfinite(request.rect);
  return something ? "" : "there is nothing to render";
}

}  // namespace

std::string CIContext::render(const RenderRequest& request, const PixelLayout& layout,
                              const ColorSpacePtr& space, uint8_t* pixels,
                              RenderStatistics* statistics) const {
  const auto start = std::chrono::steady_clock::now();
  const ColorSpacePtr& target = options_.outputColorSpace ? options_.outputColorSpace : space;
  if (std::string problem = problemOf(request); !problem.empty()) return problem;
  if (target && !target->isMatrix()) return "the output colour space cannot be rendered into";
  RenderStatistics found;
  found.copiedSource = copySource(request, layout, target, pixels);
  std::string error;
  if (!found.copiedSource) {
    RenderJob render(options_, request);
    if (render.width() != layout.width || render.height() != layout.height)
      return "the bitmap has another size than the rectangle";
    error = render.run(layout, target, pixels);
    found.peakBytes = render.peakBytes();
    found.keepingSeconds = render.keepingSeconds();
  }
  found.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (statistics) *statistics = found;
  return error;
}

std::optional<PixelLayout> CIContext::layoutFor(const RenderRequest& request, PixelLayout layout,
                                                std::string* error) const {
  if (*error = problemOf(request); !error->empty()) return std::nullopt;
  constexpr double longest = int64_t{1} << 31;
  const CGSize size{request.rect.size.width / request.pitch, request.rect.size.height / request.pitch};
  const bool fits = size.width < longest && size.height < longest;
  if (fits) {
    const RenderJob job(options_, request);
    layout.width = job.width();
    layout.height = job.height();
  }
  if (!fits || layout.width * layout.bytesPerPixel() > (int64_t{1} << 40) / layout.height) {
    *error = "the picture is too large to render";
    return std::nullopt;
  }
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  return layout;
}

Bitmap CIContext::createBitmap(const RenderRequest& request, PixelLayout layout, const ColorSpacePtr& space,
                               std::string* error, RenderStatistics* statistics) const {
  const std::optional<PixelLayout> fitting = layoutFor(request, layout, error);
  if (!fitting) return {};
  layout = *fitting;
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

std::string CIContext::renderBands(const RenderRequest& request, PixelLayout layout,
                                   const ColorSpacePtr& space, const BandCallbacks& callbacks,
                                   RenderStatistics* statistics) const {
  const auto start = std::chrono::steady_clock::now();
  if (std::string problem = problemOf(request); !problem.empty()) return problem;
  RenderJob job(options_, request);
  layout.width = job.width();
  layout.height = job.height();
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  std::string error;
  try {
    error = job.runBands(layout, options_.outputColorSpace ? options_.outputColorSpace : space, callbacks);
  } catch (const std::bad_alloc&) {
    error = kNoMemoryForRender;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (statistics) *statistics = {seconds, job.peakBytes(), false};
  return error;
}

bool CIContext::readsInBands(const RenderRequest& request) const {
  return problemOf(request).empty() && RenderJob(options_, request).readsInBands();
}

Quality CIContext::affordableQuality(const RenderRequest& request) const {
  return problemOf(request).empty() ? RenderJob(options_, request).affordableQuality() : Quality::draft;
}

std::string CIContext::explain(const RenderRequest& request, RenderPlan& plan) const {
  if (std::string problem = problemOf(request); !problem.empty()) return problem;
  return RenderJob(options_, request).explain(plan);
}

}  // namespace vello
