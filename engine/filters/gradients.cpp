// Gradients between two colours, mixed in premultiplied linear light.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/math/vec.h"

namespace vello {
namespace {

constexpr double kFarthest = 1e9;  // places beyond are not told apart

double within(double v) { return fmin(fmax(v, -kFarthest), kFarthest); }

constexpr InputDef kLinearInputs[] = {
    position("inputPoint0", "Point 0", 0, 0), position("inputPoint1", "Point 1", 200, 200),
    color("inputColor0", "Color 1", 1, 1, 1, 1), color("inputColor1", "Color 2", 0, 0, 0, 1)};

// By the place's projection onto the line between two points; two equal points give the first colour.
struct Linear {
  explicit Linear(const Values& v)
      : color0(v.premultiplied("inputColor0")), color1(v.premultiplied("inputColor1")) {
    const Vec2 p0 = v.point("inputPoint0"), p1 = v.point("inputPoint1");
    origin = {within(p0.x), within(p0.y)};
    const double x = within(p1.x) - origin.x, y = within(p1.y) - origin.y, squared = x * x + y * y;
    dx = static_cast<float>(squared > 0 ? x / squared : 0);
    dy = static_cast<float>(squared > 0 ? y / squared : 0);
  }
  CGPoint anchor() const { return origin; }
  KERNEL Px operator()(At at) const { return mix(color0, color1, clamp(at.x * dx + at.y * dy, 0.0f, 1.0f)); }
  Px color0, color1;
  CGPoint origin;
  float dx, dy;
};

constexpr InputDef kRadialInputs[] = {
    position("inputCenter", "Center", 150, 150),
    distance("inputRadius0", "Radius 1", {.initial = 5, .range = {0, kNone}, .slider = {0, 800}}),
    distance("inputRadius1", "Radius 2", {.initial = 100, .range = {0, kNone}, .slider = {0, 800}}),
    color("inputColor0", "Color 1", 1, 1, 1, 1), color("inputColor1", "Color 2", 0, 0, 0, 1)};

// The first colour within the first radius, the second beyond the second. Equal radii leave an edge one
// sample wide.
struct Radial {
  Radial(const Values& v, const Given& given)
      : color0(v.premultiplied("inputColor0")), color1(v.premultiplied("inputColor1")) {
    const Vec2 c = v.point("inputCenter");
    center = {within(c.x), within(c.y)};
    const double r0 = v.number("inputRadius0", 0, kFarthest), r1 = v.number("inputRadius1", 0, kFarthest);
    const double span = fmax(fabs(r1 - r0), given.pitch) * (r1 < r0 ? -1 : 1);
    slope = static_cast<float>(1 / span);
    start = static_cast<float>((r0 + r1) / 2 - span / 2);
  }
  CGPoint anchor() const { return center; }
  KERNEL Px operator()(At at) const {
    const float r = vec::sqrt(at.x * at.x + at.y * at.y);
    return mix(color0, color1, clamp((r - start) * slope, 0.0f, 1.0f));
  }
  Px color0, color1;
  CGPoint center;
  float slope, start;
};

constexpr InputDef kGaussianInputs[] = {
    position("inputCenter", "Center", 150, 150), color("inputColor0", "Color 1", 1, 1, 1, 1),
    color("inputColor1", "Color 2", 0, 0, 0, 0),
    distance("inputRadius", "Radius", {.initial = 300, .range = {0, kNone}, .slider = {0, 800}})};

// The first colour by a two-dimensional normal density that reaches three sigma at the radius, the second
// around it.
struct Gaussian {
  explicit Gaussian(const Values& v)
      : color0(v.premultiplied("inputColor0")), color1(v.premultiplied("inputColor1")) {
    const Vec2 c = v.point("inputCenter");
    center = {within(c.x), within(c.y)};
    const double sigma = fmax(v.number("inputRadius", 0, kFarthest) / 3, 1e-3);
    // exp(-r^2 / (2 sigma^2)) as a power of two.
    rate = static_cast<float>(-1 / (2 * sigma * sigma * log(2.0)));
  }
  CGPoint anchor() const { return center; }
  KERNEL Px operator()(At at) const {
    return mix(color1, color0, vec::exp2(max((at.x * at.x + at.y * at.y) * rate, -126.0f)));
  }
  Px color0, color1;
  CGPoint center;
  float rate;
};

constexpr FilterDef kFilters[] = {
    {"CIGaussianGradient", "Gaussian Gradient", kGradient, kGaussianInputs, generate<Gaussian>()},
    {"CILinearGradient", "Linear Gradient", kGradient, kLinearInputs, generate<Linear>()},
    {"CIRadialGradient", "Radial Gradient", kGradient, kRadialInputs, generate<Radial>()},
};

}  // namespace

extern const FilterFamily kGradientsFamily = family(kFilters);

}  // namespace vello
