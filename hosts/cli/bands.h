// Renders a picture as bands of rows, from the top.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/render/context.h"

namespace vello::cli {

// Rows [begin, end) of a source bitmap, counted from the top: what a band reads. No later band reads rows
// before `begin`.
struct SourceRows {
  uint64_t serial;
  int64_t begin, end;
};

struct BandCallbacks {
  // Called before a band is computed, on the calling thread. An error ends the rendering.
  std::function<std::string(const std::vector<SourceRows>&)> provide;
  // One finished band. An error ends the rendering.
  std::function<std::string(int64_t firstRow, int64_t rows, const uint8_t* bytes, int64_t bytesPerRow)> write;
};

// False where some part of the recipe reads `source` in no order: then one band reads all of it.
bool readsInBands(const RenderRequest& request, const Bitmap& source);

// Returns the first error. In `layout`, of which bytesPerRow does not count, and `space`.
std::string renderBands(const CIContext& context, const RenderRequest& request, PixelLayout layout,
                        const ColorSpacePtr& space, const Bitmap& source, const BandCallbacks& callbacks);

}  // namespace vello::cli
