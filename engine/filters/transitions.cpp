// Transitions from one image to another.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"

namespace vello {
namespace {

constexpr InputDef kDissolveInputs[] = {
    image(), image("inputTargetImage", "Target Image"),
    timeInput("inputTime", "Time", {.initial = 0, .identity = 0, .range = {0, 1}, .slider = {0, 1}})};

struct Dissolve {
  explicit Dissolve(const Values& v) : time(static_cast<float>(v.number("inputTime", 0, 1))) {}
  static bool identity(const Values& v) { return v.number("inputTime") <= 0; }
  KERNEL Px operator()(Px image, Px target) const { return mix(image, target, time); }
  float time;
};

constexpr FilterDef kFilters[] = {
    {"CIDissolveTransition", "Dissolve", kTransition, kDissolveInputs, blend<Dissolve>()},
};

}  // namespace

extern const FilterFamily kTransitionsFamily = family(kFilters);

}  // namespace vello
