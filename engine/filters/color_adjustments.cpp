// Colour adjustments: formulas on one straight or premultiplied sample of linear light.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"

namespace vello {
namespace {

constexpr InputDef kExposureInputs[] = {
    image(), scalar("inputEV", "EV", {.initial = 0, .identity = 0, .slider = {-10, 10}})};

// Scales light by a power of two. EV in stops.
struct Exposure {
  explicit Exposure(const Values& v) : gain(static_cast<float>(exp2(v.number("inputEV", -100, 100)))) {}
  static bool identity(const Values& v) { return v.number("inputEV") == 0; }
  KERNEL Px operator()(Px p) const { return {p.r * gain, p.g * gain, p.b * gain, p.a}; }
  float gain;
};

constexpr FilterDef kFilters[] = {
    {"CIExposureAdjust", "Exposure Adjust",
     "ColorAdjustment Video StillImage Interlaced NonSquarePixels BuiltIn XMPSerializable", kExposureInputs,
     point<Exposure>()},
};

}  // namespace

extern const FilterFamily kColorAdjustmentFamily = family(kFilters);

}  // namespace vello
