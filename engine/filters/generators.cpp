// Images made from nothing but their inputs. Unbounded.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/math/vec.h"

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

constexpr InputDef kPatternInputs[] = {
    position("inputCenter", "Center", 150, 150), color("inputColor0", "Color 1", 1, 1, 1, 1, ""),
    color("inputColor1", "Color 2", 0, 0, 0, 1, ""),
    distance("inputWidth", "Width", {.initial = 80, .slider = {0, 800}}),
    scalar("inputSharpness", "Sharpness", {.initial = 1, .range = {0, 1}, .slider = {0, 1}})};

// A square wave: 1 in even cells, -1 in odd ones, averaged over a sample, or over more where it is to be
// soft.
struct SquareWave {
  explicit SquareWave(const Values& v)
      : width(static_cast<float>(v.number("inputWidth", 0.01, 1e9))),
        softness(static_cast<float>((1 - v.number("inputSharpness", 0, 1)) * width)) {}
  // The wave's integral from the last even cell's beginning on.
  KERNEL float integral(float x) const {
    const float period = 2 * width;
    const float u = x - period * vec::floor(x / period);
    return min(u, period - u);
  }
  KERNEL float operator()(float x, float pitch) const {
    const float span = max(pitch, softness);
    return (integral(x + 0.5f * span) - integral(x - 0.5f * span)) / span;
  }
  float width, softness;
};

struct Checkerboard {
  explicit Checkerboard(const Values& v)
      : wave(v),
        color0(v.premultiplied("inputColor0")),
        color1(v.premultiplied("inputColor1")),
        center(v.point("inputCenter")) {}
  CGPoint anchor() const { return {center.x, center.y}; }
  KERNEL Px operator()(At at) const {
    return mix(color1, color0, 0.5f + 0.5f * wave(at.x, at.pitch) * wave(at.y, at.pitch));
  }
  SquareWave wave;
  Px color0, color1;
  Vec2 center;
};

// Even stripes have the second colour: the opposite of the checkerboard.
struct Stripes {
  explicit Stripes(const Values& v)
      : wave(v),
        color0(v.premultiplied("inputColor0")),
        color1(v.premultiplied("inputColor1")),
        center(v.point("inputCenter")) {}
  CGPoint anchor() const { return {center.x, 0}; }
  KERNEL Px operator()(At at) const { return mix(color0, color1, 0.5f + 0.5f * wave(at.x, at.pitch)); }
  SquareWave wave;
  Px color0, color1;
  Vec2 center;
};

constexpr FilterDef kFilters[] = {
    {"CICheckerboardGenerator", "Checkerboard", kGenerator, kPatternInputs, generate<Checkerboard>(),
     PitchClass::pattern},
    {"CIConstantColorGenerator", "Constant Color", kGenerator, kConstantColorInputs,
     generate<ConstantColor>()},
    {"CIStripesGenerator", "Stripes", kGenerator, kPatternInputs, generate<Stripes>(), PitchClass::pattern},
};

}  // namespace

extern const FilterFamily kGeneratorsFamily = family(kFilters);

}  // namespace vello
