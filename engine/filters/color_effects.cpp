// Colour effects: looks made from one sample of linear light.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/math/vec.h"
#include "platform/color_space.h"

namespace vello {
namespace {

constexpr InputDef kImageOnly[] = {image()};

struct Invert {
  static constexpr bool kStraight = true;
  explicit Invert(const Values&) {}
  static ColorMatrix matrix(const Values&) {
    return {{{-1, 0, 0, 0, 1}, {0, -1, 0, 0, 1}, {0, 0, -1, 0, 1}, {0, 0, 0, 1, 0}}};
  }
  KERNEL Px operator()(Px p) const { return {1 - p.r, 1 - p.g, 1 - p.b, p.a}; }
};

constexpr InputDef kMonochromeInputs[] = {
    image(), color("inputColor", "Color", 0.6, 0.45, 0.3, 1, "OpaqueColor"),
    scalar("inputIntensity", "Intensity",
           {.initial = 1, .identity = 0, .range = {0, kNone}, .slider = {0, 1}})};

// Hard light of the luminance with a colour (W3C Compositing and Blending Level 1).
struct Monochrome {
  static constexpr int kHalvings = kTwice;
  static constexpr bool kStraight = true;
  explicit Monochrome(const Values& v)
      : color(v.color("inputColor")), intensity(static_cast<float>(v.number("inputIntensity", 0, 1e4))) {}
  static bool identity(const Values& v) { return v.number("inputIntensity") == 0; }
  KERNEL float hardLight(float l, float c) const {
    return select(l < 0.5f, 2 * l * c, 1 - 2 * (1 - l) * (1 - c));
  }
  KERNEL Px operator()(Px p) const {
    const float l = luminance(p);
    return {mix(p.r, hardLight(l, color.r), intensity), mix(p.g, hardLight(l, color.g), intensity),
            mix(p.b, hardLight(l, color.b), intensity), p.a};
  }
  Px color;
  float intensity;
};

constexpr InputDef kSepiaInputs[] = {
    image(), scalar("inputIntensity", "Intensity",
                    {.initial = 1, .identity = 0, .range = {0, kNone}, .slider = {0, 1}})};

// A tone curve from the luminance to a brown print's colour, read off sample pictures: encoded luminance,
// then encoded red, green and blue in 255ths.
struct Sepia {
  static constexpr int kHalvings = kTwice;
  static constexpr bool kStraight = true;
  static constexpr int kPoints = 15, kSteps = 256;
  static constexpr double kTone[kPoints][4] = {
      {0, 3, 0, 0},         {.05, 28, 6, 0},      {.10, 44, 18, 0},     {.15, 63, 34, 2},
      {.20, 77, 47, 6},     {.25, 89, 58, 12},    {.30, 101, 68, 19},   {.40, 125, 93, 39},
      {.50, 148, 118, 62},  {.60, 173, 147, 92},  {.70, 193, 172, 123}, {.80, 214, 199, 160},
      {.90, 235, 227, 201}, {.95, 245, 240, 223}, {1, 255, 254, 246}};

  explicit Sepia(const Values& v) : intensity(static_cast<float>(v.number("inputIntensity", 0, 1e4))) {
    // Even steps of the square root of the luminance resolve the shadows as the eye does.
    for (int i = 0; i <= kSteps; ++i) {
      const double root = static_cast<double>(i) / kSteps, encoded = sRGBEncode(root * root);
      for (int c = 0; c < 3; ++c) tone[c][i] = static_cast<float>(sRGBDecode(curve(encoded, c + 1) / 255));
    }
    for (auto& channel : tone) channel[kSteps + 1] = channel[kSteps];
  }
  static bool identity(const Values& v) { return v.number("inputIntensity") == 0; }

  static double slope(int k, int c) {
    return (kTone[k + 1][c] - kTone[k][c]) / (kTone[k + 1][0] - kTone[k][0]);
  }
  // The tangent at a point: the harmonic mean of its neighbours' slopes (Fritsch and Butland, 1984), never
  // overshooting.
  static double tangent(int k, int c) {
    if (k == 0) return slope(0, c);
    if (k == kPoints - 1) return slope(k - 1, c);
    const double a = slope(k - 1, c), b = slope(k, c);
    return a * b <= 0 ? 0 : 2 * a * b / (a + b);
  }
  static double curve(double x, int c) {
    int k = 0;
    while (k < kPoints - 2 && x > kTone[k + 1][0]) ++k;
    const double h = kTone[k + 1][0] - kTone[k][0], t = (x - kTone[k][0]) / h, u = 1 - t;
    return kTone[k][c] * (1 + 2 * t) * u * u + kTone[k + 1][c] * (3 - 2 * t) * t * t +
           h * (tangent(k, c) * t * u * u - tangent(k + 1, c) * t * t * u);
  }

  KERNEL Px operator()(Px p) const {
    const float place = vec::sqrt(clamp(luminance(p), 0.0f, 1.0f)) * kSteps;
    const int i = static_cast<int>(place);
    const float f = place - static_cast<float>(i);
    return {mix(p.r, mix(tone[0][i], tone[0][i + 1], f), intensity),
            mix(p.g, mix(tone[1][i], tone[1][i + 1], f), intensity),
            mix(p.b, mix(tone[2][i], tone[2][i + 1], f), intensity), p.a};
  }
  float intensity;
  float tone[3][kSteps + 2];
};

constexpr InputDef kPosterizeInputs[] = {
    image(),
    scalar("inputLevels", "Levels", {.initial = 6, .identity = 300, .range = {1, kNone}, .slider = {2, 30}})};

struct Posterize {
  static constexpr int kHalvings = kTwice;
  static constexpr bool kStraight = true;
  explicit Posterize(const Values& v) : steps(static_cast<float>(v.number("inputLevels", 2, 1e6) - 1)) {}
  KERNEL float channel(float c) const { return vec::floor(c * steps + 0.5f) / steps; }
  KERNEL Px operator()(Px p) const { return {channel(p.r), channel(p.g), channel(p.b), p.a}; }
  float steps;
};

constexpr InputDef kFalseColorInputs[] = {image(), color("inputColor0", "Color 1", 0.3, 0, 0, 1),
                                          color("inputColor1", "Color 2", 1, 0.9, 0.8, 1)};

// From one colour to another by the luminance.
struct FalseColor {
  static constexpr bool kStraight = true;
  explicit FalseColor(const Values& v) : color0(v.color("inputColor0")), color1(v.color("inputColor1")) {}
  KERNEL Px operator()(Px p) const {
    const Px c = mix(color0, color1, luminance(p));
    return {c.r, c.g, c.b, c.a * p.a};
  }
  Px color0, color1;
};

// White where the image is light, transparent where it is dark.
struct MaskToAlpha {
  explicit MaskToAlpha(const Values&) {}
  KERNEL Px operator()(Px p) const {
    const float l = luminance(p);
    return {l, l, l, l};
  }
};

constexpr FilterDef kFilters[] = {
    {"CIColorInvert", "Color Invert", kColorEffect, kImageOnly, point<Invert>()},
    {"CIColorMonochrome", "Color Monochrome", kColorEffect, kMonochromeInputs, point<Monochrome>()},
    {"CIColorPosterize", "Color Posterize", kColorEffect, kPosterizeInputs, point<Posterize>(),
     PitchClass::follows, true},
    {"CIFalseColor", "False Color", kColorEffect, kFalseColorInputs, point<FalseColor>()},
    {"CIMaskToAlpha", "Mask to Alpha", kColorEffect, kImageOnly, point<MaskToAlpha>()},
    {"CISepiaTone", "Sepia Tone", kColorEffectXMP, kSepiaInputs, point<Sepia>()},
};

}  // namespace

extern const FilterFamily kColorEffectFamily = family(kFilters);

}  // namespace vello
