#include "hosts/cli/bands.h"

#include "hosts/cli/picture.h"

namespace vello::cli {

bool readsInBands(const RenderRequest&, const Bitmap&) { return false; }

std::string renderBands(const CIContext& context, const RenderRequest& request, PixelLayout layout,
                        const ColorSpacePtr& space, const Bitmap& source, const BandCallbacks& callbacks) {
  layout.bytesPerRow = layout.bytesPerPixel() * layout.width;
  if (std::string problem = sizeProblem(layout); !problem.empty()) return problem;
  if (std::string problem = callbacks.provide({{source.serial(), 0, source.height()}}); !problem.empty()) {
    return problem;
  }
  std::vector<uint8_t> pixels(static_cast<size_t>(layout.bytesPerRow * layout.height));
  std::string problem = context.render(request, layout, space, pixels.data());
  if (!problem.empty()) return problem;
  return callbacks.write(0, layout.height, pixels.data(), layout.bytesPerRow);
}

}  // namespace vello::cli
