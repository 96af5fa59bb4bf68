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
      : center{v.component("inputCenter", 0), v.component("inputCenter", 1)}, side(sideOf(v)) {}
  static double sideOf(const Values& v) { return v.number("inputScale", 1, 1e6); }
  // A cell whose middle lies inside reaches half a cell out.
  static CGRect extent(const Values& v, View<CGRect> images) {
    return grown(images[0], sideOf(v) / 2, sideOf(v) / 2);
  }
  CGPoint anchor() const { return center; }
  double cell() const { return side; }
  CGPoint center;
  double side;
};

constexpr FilterDef kFilters[] = {
    {"CIBlendWithMask", "Blend With Mask", kStylize, kMaskInputs, blend<BlendWithMask, 3>()},
    {"CIPixellate", "Pixelate", kStylize, kPixellateInputs, cells<Pixellate>()},
};

}  // namespace

extern const FilterFamily kStylizeFamily = family(kFilters);

}  // namespace vello
