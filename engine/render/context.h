// CIContext renders a rectangle of a recipe into memory. Blocks its caller until the pixels are there.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/image/image.h"
#include "engine/render/lattice.h"
#include "platform/bitmap.h"
#include "platform/instruction_set.h"

namespace vello {

class RenderCache;

struct ContextOptions {
  ColorSpacePtr workingColorSpace;  // a matrix RGB space, of which the primaries count; null: linear sRGB
  ColorSpacePtr outputColorSpace;   // null: the space asked for at the render
  int64_t memoryLimit = 0;          // bytes of intermediates; 0: a quarter of the machine's memory
  // Bytes of samples that are kept in memory because a filter reads them in no order; what is beyond lies in
  // a temporary file. 0: 512 MB, or a quarter of memoryLimit where that is less.
  int64_t storeLimit = 0;
  int tileSide = 0;  // output pixels a side of a tile; 0: chosen by the renderer
  int threads = 0;   // that compute; 0: as many as there are cores
  InstructionSet instructionSet = InstructionSet::v4;  // the best that may be used, where the machine has it
  // Shared by the renders of one session, so that what stays the same is not computed again. May be null.
  std::shared_ptr<RenderCache> cache;
  bool reference = false;  // the plain renderer that all others are checked against
  bool frame = false;      // somebody waits for it: other renders of this process pause meanwhile
};

struct RenderRequest {
  CIImage image;
  // In image units; the bitmap's lower left corner lies at its origin.
  CGRect rect;
  // Image units per sample. The bitmap has rect.size / pitch samples, rounded up.
  double pitch = 1;
  // Told the finished share, 0..1, from the rendering thread. Returning false abandons the render.
  std::function<bool(double)> progress = nullptr;
  // Asked from all rendering threads at once, every millisecond or more often. Returning true abandons the
  // render.
  std::function<bool()> abandoned = nullptr;
  // Told rectangles of the bitmap that are finished (rows from the top, x0 <= x < x1), from the rendering
  // threads, one at a time. With it, the middle of the picture is rendered first.
  std::function<void(const IndexRect&)> finished = nullptr;
  // At a pitch above 1, thorough samples look like the finished picture scaled down. Settled ones do where
  // that is quick; drafts, made while somebody drags, may be harder or softer.
  Quality quality = Quality::thorough;
};

struct RenderStatistics {
  double seconds = 0;
  int64_t peakBytes = 0;      // of intermediates that were held at once
  bool copiedSource = false;  // nothing in the recipe changes the source: its bytes were copied
  double keepingSeconds = 0;  // of them, to compute what later renders will read
};

// What a render is going to do.
struct RenderPlan {
  std::string text;             // for a person to read
  double predictedBytes = 0;    // of intermediates held at once, at most
  double predictedSamples = 0;  // computed in all steps together
};

// Rows [begin, end) of a source bitmap, counted from the top: what a band reads. No later band reads rows
// before `begin`.
struct SourceRows {
  uint64_t serial = 0;
  int64_t begin = 0, end = 0;
};

struct BandCallbacks {
  // Called before a band is computed, on the calling thread. An error ends the rendering.
  std::function<std::string(const std::vector<SourceRows>&)> provide;
  // One finished band, whose bytes may be swapped for as many others. An error ends the rendering.
  std::function<std::string(int64_t firstRow, int64_t rows, std::vector<uint8_t>& bytes, int64_t bytesPerRow)>
      write;
};

class CIContext {
 public:
  explicit CIContext(ContextOptions options = {}) : options_(std::move(options)) {}

  // Renders into `pixels` (layout.height rows of layout.bytesPerRow bytes, the top row first) in `space`.
  // Returns the error, empty on success: a failed or abandoned render leaves the pixels unspecified.
  std::string render(const RenderRequest& request, const PixelLayout& layout, const ColorSpacePtr& space,
                     uint8_t* pixels, RenderStatistics* statistics = nullptr) const;
  // `layout` as it must be for `render`: its size, and rows without gaps. Nothing where there is nothing to
  // render, or more than anybody has memory for; `error` tells.
  std::optional<PixelLayout> layoutFor(const RenderRequest& request, PixelLayout layout,
                                       std::string* error) const;
  // Renders into a bitmap of its own; empty when `error` is set.
  Bitmap createBitmap(const RenderRequest& request, PixelLayout layout, const ColorSpacePtr& space,
                      std::string* error, RenderStatistics* statistics = nullptr) const;
  // Renders bands of rows from the top down, holding the rows of one band and what the next ones still read.
  // Of `layout`, bytesPerRow does not count.
  std::string renderBands(const RenderRequest& request, PixelLayout layout, const ColorSpacePtr& space,
                          const BandCallbacks& callbacks, RenderStatistics* statistics = nullptr) const;
  // False where some part of the recipe reads a picture in no order: then renderBands would read all pictures
  // before the first band.
  bool readsInBands(const RenderRequest& request) const;
  // The quality a render will have: the one asked for, or less where that would take too long.
  Quality affordableQuality(const RenderRequest& request) const;
  // Without rendering. Returns the error, empty on success.
  std::string explain(const RenderRequest& request, RenderPlan& plan) const;

 private:
  ContextOptions options_;
};

}  // namespace vello
