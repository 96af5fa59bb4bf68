// Images made unbounded by repeating: their edges, or the whole of them.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"
#include "engine/math/vec.h"

namespace vello {
namespace {

constexpr InputDef kTransformInputs[] = {image(), transform()};
constexpr InputDef kClampInputs[] = {image(), rectangle("inputExtent", "Extent", 0, 0, 640, 80)};

struct AffineClamp {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    return affine(clampEdges(image, image.extent()), v.transform("inputTransform"));
  }
};

struct Clamp {
  CIImage operator()(const Values& v) const {
    const CGRect rect = v.rect("inputExtent");
    return clampEdges(crop(v.image("inputImage"), rect), intersection(v.image("inputImage").extent(), rect));
  }
};

// Moves every place into the first cell of a grid.
struct Repeat {
  Repeat(const Values&, const Given& given) {
    const CGRect cell = roundedOut(given.extents[0]);
    corner = cell.origin;
    width = static_cast<float>(cell.size.width);
    height = static_cast<float>(cell.size.height);
  }
  static CGRect extent(const Values&, View<CGRect>) { return kInfiniteExtent; }
  CGPoint anchor() const { return corner; }
  KERNEL Move operator()(At at) const {
    return {-width * vec::floor(at.x / width), -height * vec::floor(at.y / height), 1};
  }
  CGPoint corner;
  float width, height;
};

// The cell is the image's extent rounded out to whole units.
struct AffineTile {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    if (isInfinite(image.extent()) || isEmpty(image.extent())) return image;
    return affine(applyKernel(warp<Repeat>(), v, {image}), v.transform("inputTransform"));
  }
};

constexpr FilterDef kFilters[] = {
    {"CIAffineClamp", "Affine Clamp", kTileEffect, kTransformInputs, compose<AffineClamp>()},
    {"CIAffineTile", "Affine Tile", kTileEffect, kTransformInputs, compose<AffineTile>()},
    {"CIClamp", "Clamp", kTileEffect, kClampInputs, compose<Clamp>()},
};

}  // namespace

extern const FilterFamily kTilesFamily = family(kFilters);

}  // namespace vello
