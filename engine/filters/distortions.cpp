// Distortions: where each place takes its sample from.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/math/vec.h"

namespace vello {
namespace {

constexpr double kLargestRadius = 1e6;

CGPoint centerOf(const Values& v) { return {v.component("inputCenter", 0), v.component("inputCenter", 1)}; }
float radiusOf(const Values& v) { return static_cast<float>(v.number("inputRadius", 0, kLargestRadius)); }

constexpr InputDef kBumpInputs[] = {
    image(), position("inputCenter", "Center", 150, 150),
    distance("inputRadius", "Radius", {.initial = 300, .range = {0, kNone}, .slider = {0, 600}}),
    scalar("inputScale", "Scale", {.initial = 0.5, .identity = 0, .slider = {-1, 1}})};

// Pulls places towards the centre, least at the radius.
struct Bump {
  static constexpr int kHalvings = kTwice;
  explicit Bump(const Values& v)
      : center(centerOf(v)),
        radius(max(radiusOf(v), 1e-6f)),
        scale(static_cast<float>(v.number("inputScale", -100, 100))) {}
  static bool identity(const Values& v) {
    return v.number("inputScale") == 0 || v.number("inputRadius") <= 0;
  }
  static float magnification(const Values& v) {
    return static_cast<float>(1 / fmax(1.0 / 16, 1 - v.number("inputScale", -100, 100)));
  }
  CGPoint anchor() const { return center; }
  KERNEL Move operator()(At at) const {
    const float r = vec::sqrt(at.x * at.x + at.y * at.y);
    const float pull = scale * (1 - smoothstep(r / radius));
    return {-at.x * pull, -at.y * pull, 1};
  }
  CGPoint center;
  float radius, scale;
};

constexpr InputDef kTwirlInputs[] = {
    image(), position("inputCenter", "Center", 150, 150),
    distance("inputRadius", "Radius",
             {.initial = 300, .identity = 300, .range = {0, kNone}, .slider = {0, 500}}),
    angle("inputAngle", "Angle",
          {.initial = 3.141592653589793, .identity = 0, .slider = {-12.56637061435917, 12.56637061435917}})};

// Turns the content counter-clockwise, most at the centre.
struct Twirl {
  static constexpr int kHalvings = kTwice;
  explicit Twirl(const Values& v)
      : center(centerOf(v)),
        radius(max(radiusOf(v), 1e-6f)),
        angle(static_cast<float>(v.number("inputAngle", -1e3, 1e3))) {}
  static bool identity(const Values& v) {
    return v.number("inputAngle") == 0 || v.number("inputRadius") <= 0;
  }
  // What is turned out of the image stays within the circle.
  static CGRect extent(const Values& v, View<CGRect> images) {
    const CGPoint c = centerOf(v);
    const double r = v.number("inputRadius", 0, kLargestRadius);
    return isEmpty(images[0]) ? CGRect{} : unionOf(images[0], {{c.x - r, c.y - r}, {2 * r, 2 * r}});
  }
  CGPoint anchor() const { return center; }
  KERNEL Move operator()(At at) const {
    const float r = vec::sqrt(at.x * at.x + at.y * at.y);
    const vec::SinCos turn = vec::sinCos(-angle * (1 - smoothstep(r / radius)));
    return {at.x * (turn.cos - 1) - at.y * turn.sin, at.x * turn.sin + at.y * (turn.cos - 1), 1};
  }
  CGPoint center;
  float radius, angle;
};

constexpr FilterDef kFilters[] = {
    {"CIBumpDistortion", "Bump Distortion", kDistortion, kBumpInputs, warp<Bump>()},
    {"CITwirlDistortion", "Twirl Distortion", kDistortion, kTwirlInputs, warp<Twirl>()},
};

}  // namespace

extern const FilterFamily kDistortionsFamily = family(kFilters);

}  // namespace vello
