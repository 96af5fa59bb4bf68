// Colour adjustments: formulas on one sample of linear light.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/filters/color_matrix.h"
#include "engine/math/vec.h"

namespace vello {
namespace {

constexpr InputDef kExposureInputs[] = {
    image(), scalar("inputEV", "EV", {.initial = 0, .identity = 0, .slider = {-10, 10}})};

// Scales light by a power of two. EV in stops.
struct Exposure {
  explicit Exposure(const Values& v) : gain(static_cast<float>(gainOf(v))) {}
  static bool identity(const Values& v) { return v.number("inputEV") == 0; }
  static double gainOf(const Values& v) { return exp2(v.number("inputEV", -100, 100)); }
  static ColorMatrix matrix(const Values& v) {
    const double gain = gainOf(v);
    return {{{gain, 0, 0, 0, 0}, {0, gain, 0, 0, 0}, {0, 0, gain, 0, 0}, {0, 0, 0, 1, 0}}};
  }
  KERNEL Px operator()(Px p) const { return {p.r * gain, p.g * gain, p.b * gain, p.a}; }
  float gain;
};

constexpr InputDef kGammaInputs[] = {
    image(), scalar("inputPower", "Power", {.initial = 1, .identity = 1, .slider = {0.25, 4}})};

// Raises straight colour to a power; nothing below 0 is left.
struct Gamma {
  static constexpr int kHalvings = kTwice;
  static constexpr bool kStraight = true;
  explicit Gamma(const Values& v) : power(static_cast<float>(v.number("inputPower", -100, 100))) {}
  static bool identity(const Values& v) { return v.number("inputPower") == 1; }
  KERNEL Px operator()(Px p) const {
    return {vec::pow(p.r, power), vec::pow(p.g, power), vec::pow(p.b, power), p.a};
  }
  float power;
};

constexpr InputDef kColorControlsInputs[] = {
    image(),
    scalar("inputSaturation", "Saturation",
           {.initial = 1, .identity = 1, .range = {0, kNone}, .slider = {0, 2}}),
    scalar("inputBrightness", "Brightness",
           {.initial = 0, .identity = 0, .range = {-1, kNone}, .slider = {-1, 1}}),
    scalar("inputContrast", "Contrast",
           {.initial = 1, .identity = 1, .range = {0, kNone}, .slider = {0.25, 4}})};

// Saturation about the luminance, then contrast about the middle, then brightness.
struct ColorControls {
  static constexpr int kHalvings = kTwice;
  static constexpr bool kStraight = true;
  explicit ColorControls(const Values& v)
      : saturation(static_cast<float>(v.number("inputSaturation", 0, 1e4))),
        brightness(static_cast<float>(v.number("inputBrightness", -1, 1e4))),
        contrast(static_cast<float>(v.number("inputContrast", 0, 1e4))) {}
  static bool identity(const Values& v) {
    return v.number("inputSaturation") == 1 && v.number("inputBrightness") == 0 &&
           v.number("inputContrast") == 1;
  }
  static ColorMatrix matrix(const Values& v) {
    const double s = v.number("inputSaturation", 0, 1e4), contrast = v.number("inputContrast", 0, 1e4);
    const double bias = 0.5 - 0.5 * contrast + v.number("inputBrightness", -1, 1e4);
    ColorMatrix m{{{0, 0, 0, 0, bias}, {0, 0, 0, 0, bias}, {0, 0, 0, 0, bias}, {0, 0, 0, 1, 0}}};
    for (int row = 0; row < 3; ++row)
      for (int k = 0; k < 3; ++k) m.rows[row][k] = contrast * ((1 - s) * kLuminance[k] + (row == k ? s : 0));
    return m;
  }
  KERNEL float channel(float c, float l) const {
    return (mix(l, c, saturation) - 0.5f) * contrast + 0.5f + brightness;
  }
  KERNEL Px operator()(Px p) const {
    const float l = luminance(p);
    return {channel(p.r, l), channel(p.g, l), channel(p.b, l), p.a};
  }
  float saturation, brightness, contrast;
};

constexpr InputDef kHueInputs[] = {
    image(), angle("inputAngle", "Angle",
                   {.initial = 0, .identity = 0, .slider = {-3.141592653589793, 3.141592653589793}})};

// The luminance-preserving rotation of the hueRotate filter primitive (W3C Filter Effects Module Level 1), on
// light.
struct Hue {
  explicit Hue(const Values& v) {
    const ColorMatrix from = matrix(v);
    for (int row = 0; row < 3; ++row)
      for (int k = 0; k < 3; ++k) m[3 * row + k] = static_cast<float>(from.rows[row][k]);
  }
  static ColorMatrix matrix(const Values& v) {
    constexpr double l[3] = {0.213, 0.715, 0.072};
    constexpr double sines[9] = {-0.213, -0.715, 0.928, 0.143, 0.140, -0.283, -0.787, 0.715, 0.072};
    const double a = v.number("inputAngle", -1e6, 1e6), c = cos(a), s = sin(a);
    ColorMatrix found{{{}, {}, {}, {0, 0, 0, 1, 0}}};
    for (int row = 0; row < 3; ++row)
      for (int k = 0; k < 3; ++k)
        found.rows[row][k] = l[k] + c * ((row == k ? 1 : 0) - l[k]) + s * sines[3 * row + k];
    return found;
  }
  static bool identity(const Values& v) { return v.number("inputAngle") == 0; }
  KERNEL Px operator()(Px p) const {
    return {m[0] * p.r + m[1] * p.g + m[2] * p.b, m[3] * p.r + m[4] * p.g + m[5] * p.b,
            m[6] * p.r + m[7] * p.g + m[8] * p.b, p.a};
  }
  float m[9];
};

constexpr InputDef kMatrixInputs[] = {image(),
                                      withIdentity(vector4("inputRVector", "Red Vector", 1, 0, 0, 0)),
                                      withIdentity(vector4("inputGVector", "Green Vector", 0, 1, 0, 0)),
                                      withIdentity(vector4("inputBVector", "Blue Vector", 0, 0, 1, 0)),
                                      withIdentity(vector4("inputAVector", "Alpha Vector", 0, 0, 0, 1)),
                                      withIdentity(vector4("inputBiasVector", "Bias Vector", 0, 0, 0, 0))};

constexpr InputDef kWhitePointInputs[] = {image(), withIdentity(color("inputColor", "Color", 1, 1, 1, 1))};

// Scales light by the colour that white shall become.
struct WhitePoint {
  explicit WhitePoint(const Values& v) : white(v.color("inputColor")) {}
  static bool identity(const Values& v) {
    const Px c = v.color("inputColor");
    return c.r == 1 && c.g == 1 && c.b == 1;
  }
  KERNEL Px operator()(Px p) const { return {p.r * white.r, p.g * white.g, p.b * white.b, p.a}; }
  Px white;
};

constexpr FilterDef kFilters[] = {
    {"CIColorControls", "Color Controls", kColorAdjustment, kColorControlsInputs, point<ColorControls>()},
    {"CIColorMatrix", "Color Matrix", kColorAdjustment, kMatrixInputs, &kColorMatrixKernel},
    {"CIExposureAdjust", "Exposure Adjust", kColorAdjustmentXMP, kExposureInputs, point<Exposure>()},
    {"CIGammaAdjust", "Gamma Adjust", kColorAdjustment, kGammaInputs, point<Gamma>()},
    {"CIHueAdjust", "Hue Adjust", kColorAdjustment, kHueInputs, point<Hue>()},
    {"CIWhitePointAdjust", "White Point Adjust", kColorAdjustment, kWhitePointInputs, point<WhitePoint>()},
};

}  // namespace

extern const FilterFamily kColorAdjustmentFamily = family(kFilters);

}  // namespace vello
