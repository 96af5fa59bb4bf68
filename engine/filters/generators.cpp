// Images made from nothing but their inputs. Unbounded.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"

namespace vello {
namespace {

constexpr InputDef kConstantColorInputs[] = {color("inputColor", "Color", 1, 0, 0, 1)};

struct ConstantColor {
  explicit ConstantColor(const Values& v) : color(v.premultiplied("inputColor")) {}
  static bool clear(const Values& v) {
    const Px c = v.premultiplied("inputColor");
    return c.r == 0 && c.g == 0 && c.b == 0 && c.a == 0;
  }
  KERNEL Px operator()(At) const { return color; }
  Px color;
};

constexpr FilterDef kFilters[] = {
    {"CIConstantColorGenerator", "Constant Color", kGenerator, kConstantColorInputs,
     generate<ConstantColor>()},
};

}  // namespace

extern const FilterFamily kGeneratorsFamily = family(kFilters);

}  // namespace vello
