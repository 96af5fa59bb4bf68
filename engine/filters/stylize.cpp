// Stylizing filters.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/math/vec.h"

namespace vello {
namespace {

constexpr InputDef kMaskInputs[] = {image(), backgroundImage(), image("inputMaskImage", "Mask Image")};

// The image where the mask is light, the background where it is dark or missing.
struct BlendWithMask {
  explicit BlendWithMask(const Values&) {}
  KERNEL Px operator()(Px image, Px background, Px mask) const {
    return mix(background, image, clamp(luminance(mask), 0.0f, 1.0f));
  }
  static CGRect extent(const Values&, View<CGRect> images) { return unionOf(images[0], images[1]); }
};

constexpr InputDef kPixellateInputs[] = {
    image(), position("inputCenter", "Center", 150, 150),
    distance("inputScale", "Scale", {.initial = 8, .range = {1, kNone}, .slider = {1, 100}})};

// Every cell shows the colour at its middle.
struct Pixellate {
  explicit Pixellate(const Values& v)
      : center{v.component("inputCenter", 0), v.component("inputCenter", 1)},
        scale(static_cast<float>(cell(v))) {}
  static double cell(const Values& v) { return v.number("inputScale", 1, 1e6); }
  // A cell whose middle lies inside reaches half a cell out.
  static CGRect extent(const Values& v, View<CGRect> images) {
    return grown(images[0], cell(v) / 2, cell(v) / 2);
  }
  CGPoint anchor() const { return center; }
  KERNEL float move(float x) const { return (vec::floor(x / scale) + 0.5f) * scale - x; }
  KERNEL Move operator()(At at) const { return {move(at.x), move(at.y), 1}; }
  CGPoint center;
  float scale;
};

constexpr FilterDef kFilters[] = {
    {"CIBlendWithMask", "Blend With Mask", kStylize, kMaskInputs, blend<BlendWithMask, 3>()},
    {"CIPixellate", "Pixelate", kStylize, kPixellateInputs, warp<Pixellate>(), PitchClass::follows, true},
};

}  // namespace

extern const FilterFamily kStylizeFamily = family(kFilters);

}  // namespace vello
