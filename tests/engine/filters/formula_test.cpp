// Every filter against its formula, written out a second time in double precision, on samples below 0, above
// 1 and with every kind of alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "engine/catalogue/filter.h"
#include "platform/color_space.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::Noise;
using testing::rendered;
using testing::rgbaFloat;

constexpr int kWidth = 23, kHeight = 17;

struct Color {
  double r = 0, g = 0, b = 0, a = 0;
};
Color operator+(Color p, Color q) { return {p.r + q.r, p.g + q.g, p.b + q.b, p.a + q.a}; }
Color operator*(Color p, double s) { return {p.r * s, p.g * s, p.b * s, p.a * s}; }
Color mixed(Color p, Color q, double t) { return p * (1 - t) + q * t; }
Color straight(Color p) { return p.a == 0 ? p : Color{p.r / p.a, p.g / p.a, p.b / p.a, p.a}; }
Color premultiplied(Color p) { return {p.r * p.a, p.g * p.a, p.b * p.a, p.a}; }
double luminance(Color p) { return 0.2126 * p.r + 0.7152 * p.g + 0.0722 * p.b; }
double lin(double encoded) {
  return encoded < 0          ? -lin(-encoded)
         : encoded <= 0.04045 ? encoded / 12.92
                              : std::pow((encoded + 0.055) / 1.055, 2.4);
}
double smooth(double t) {
  t = std::clamp(t, 0.0, 1.0);
  return t * t * (3 - 2 * t);
}
template <class F>
Color each(Color p, F f) {
  return {f(p.r), f(p.g), f(p.b), p.a};
}
template <class F>
Color each(Color p, Color q, F f) {
  return {f(p.r, q.r), f(p.g, q.g), f(p.b, q.b), f(p.a, q.a)};
}

// Linear premultiplied samples, the lower left one first; transparent beyond.
struct Picture {
  std::vector<Color> samples;
  CIImage image;
  Color at(int x, int y) const {
    if (x < 0 || y < 0 || x >= kWidth || y >= kHeight) return {};
    return samples[static_cast<size_t>(y * kWidth + x)];
  }
};

Picture makePicture(uint64_t seed, bool wild) {
  Noise noise{seed};
  Picture p;
  std::vector<float> floats(static_cast<size_t>(kWidth * kHeight * 4));
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const double alphas[] = {1, 1, 0.5, 0.25, 0};
      const double a = alphas[noise.below(5)], low = wild ? -0.4 : 0, span = wild ? 2 : 1;
      const float color[4] = {static_cast<float>((low + span * noise.unit()) * a),
                              static_cast<float>((low + span * noise.unit()) * a),
                              static_cast<float>((low + span * noise.unit()) * a), static_cast<float>(a)};
      p.samples.push_back({color[0], color[1], color[2], color[3]});
      std::copy(color, color + 4, floats.begin() + ((kHeight - 1 - y) * kWidth + x) * 4);
    }
  const auto* bytes = reinterpret_cast<const uint8_t*>(floats.data());
  p.image = CIImage::imageWithBitmap(Bitmap(rgbaFloat(kWidth, kHeight), ColorSpace::named("linear sRGB"),
                                            Data(std::vector<uint8_t>(bytes, bytes + floats.size() * 4))));
  return p;
}

const Picture& one() {
  static const Picture p = makePicture(1, true);
  return p;
}
const Picture& two() {
  static const Picture p = makePicture(2, false);
  return p;
}
const Picture& three() {
  static const Picture p = makePicture(3, false);
  return p;
}

using Inputs = std::vector<std::pair<const char*, Value>>;
using Formula = std::function<Color(int x, int y)>;

struct Row {
  const char* name;
  const char* filter;
  Inputs inputs;
  Formula formula;
  double tolerance = 2e-5;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

// Colour at (x + 1/2, y + 1/2) as a kernel sees it.
Formula point(const std::function<Color(Color)>& f) {
  return [f](int x, int y) { return f(one().at(x, y)); };
}
Formula straightPoint(const std::function<Color(Color)>& f) {
  return [f](int x, int y) { return premultiplied(f(straight(one().at(x, y)))); };
}
Formula blend(const std::function<Color(Color, Color)>& f) {
  return [f](int x, int y) { return f(one().at(x, y), two().at(x, y)); };
}

std::vector<double> gaussianWeights(double sigma, int n) {
  std::vector<double> w;
  double sum = 0;
  for (int t = -n; t <= n; ++t) sum += w.emplace_back(std::exp(-0.5 * t * t / sigma / sigma));
  for (double& v : w) v /= sum;
  return w;
}

Color convolved(int x, int y, const std::vector<double>& w) {
  const int n = static_cast<int>(w.size()) / 2;
  Color sum;
  for (int j = -n; j <= n; ++j)
    for (int i = -n; i <= n; ++i)
      sum = sum + one().at(x + i, y + j) * (w[static_cast<size_t>(i + n)] * w[static_cast<size_t>(j + n)]);
  return sum;
}
Color gaussian(int x, int y, double sigma) {
  return convolved(x, y, gaussianWeights(sigma, static_cast<int>(std::ceil(6 * sigma))));
}

// The greatest and the least samples where `inside` holds for the distances.
template <class Inside>
std::pair<Color, Color> extremes(int x, int y, Inside inside) {
  constexpr int far = 12;
  std::pair<Color, Color> found{one().at(x, y), one().at(x, y)};
  for (int j = -far; j <= far; ++j)
    for (int i = -far; i <= far; ++i) {
      if (!inside(i, j)) continue;
      const Color p = one().at(x + i, y + j);
      found.first = each(found.first, p, [](double a, double b) { return std::max(a, b); });
      found.second = each(found.second, p, [](double a, double b) { return std::min(a, b); });
    }
  return found;
}
std::function<bool(int, int)> disc(double radius) {
  return [radius](int i, int j) { return i * i + j * j <= radius * radius; };
}
std::function<bool(int, int)> box(int halfWidth, int halfHeight) {
  return [=](int i, int j) { return std::abs(i) <= halfWidth && std::abs(j) <= halfHeight; };
}

// Between samples of a source in linear light, whose encoding is linear too.
Color bilinear(double x, double y) {
  const double u = x - 0.5, v = y - 0.5, s = u - std::floor(u), t = v - std::floor(v);
  const int i = static_cast<int>(std::floor(u)), j = static_cast<int>(std::floor(v));
  return mixed(mixed(one().at(i, j), one().at(i + 1, j), s),
               mixed(one().at(i, j + 1), one().at(i + 1, j + 1), s), t);
}

const CIColor kWarm(0.9, 0.6, 0.2, 0.8), kCool(0.1, 0.3, 0.7);
const Color kWarmLinear{lin(0.9), lin(0.6), lin(0.2), 0.8}, kCoolLinear{lin(0.1), lin(0.3), lin(0.7), 1};

Color hardLight(Color p, Color c, double amount) {
  const double l = luminance(p);
  const auto f = [l](double k) { return l < 0.5 ? 2 * l * k : 1 - 2 * (1 - l) * (1 - k); };
  const Color q{f(c.r), f(c.g), f(c.b), p.a};
  return mixed(p, q, amount);
}

Color hue(Color p, double a) {
  const double c = std::cos(a), s = std::sin(a);
  return {(.213 + c * .787 - s * .213) * p.r + (.715 - c * .715 - s * .715) * p.g +
              (.072 - c * .072 + s * .928) * p.b,
          (.213 - c * .213 + s * .143) * p.r + (.715 + c * .285 + s * .140) * p.g +
              (.072 - c * .072 - s * .283) * p.b,
          (.213 - c * .213 - s * .787) * p.r + (.715 - c * .715 + s * .715) * p.g +
              (.072 + c * .928 + s * .072) * p.b,
          p.a};
}

bool oddCell(double v, double width) { return static_cast<long>(std::floor(v / width)) & 1; }

const Row kRows[] = {
    {"exposure", "CIExposureAdjust", {{"inputEV", -1.5}}, point([](Color p) {
       return each(p, [](double c) { return c * std::exp2(-1.5); });
     })},
    {"gamma", "CIGammaAdjust", {{"inputPower", 2.2}}, straightPoint([](Color p) {
       return each(p, [](double c) { return c > 0 ? std::pow(c, 2.2) : 0; });
     })},
    {"color_controls",
     "CIColorControls",
     {{"inputSaturation", 0.3}, {"inputBrightness", 0.1}, {"inputContrast", 1.7}},
     straightPoint([](Color p) {
       return each(p, [l = luminance(p)](double c) { return (l + (c - l) * 0.3 - 0.5) * 1.7 + 0.5 + 0.1; });
     })},
    {"hue", "CIHueAdjust", {{"inputAngle", 1.1}}, point([](Color p) { return hue(p, 1.1); })},
    {"color_matrix",
     "CIColorMatrix",
     {{"inputRVector", CIVector{0.2, 0.7, 0, 0.1}},
      {"inputAVector", CIVector{0, 0, 0, 1.25}},
      {"inputBiasVector", CIVector{0, 0.1, 0, 0}}},
     straightPoint([](Color p) {
       return Color{0.2 * p.r + 0.7 * p.g + 0.1 * p.a, p.g + 0.1, p.b, 1.25 * p.a};
     })},
    {"white_point", "CIWhitePointAdjust", {{"inputColor", kWarm}}, point([](Color p) {
       return Color{p.r * kWarmLinear.r, p.g * kWarmLinear.g, p.b * kWarmLinear.b, p.a};
     })},
    {"invert", "CIColorInvert", {}, straightPoint([](Color p) {
       return each(p, [](double c) { return 1 - c; });
     })},
    {"monochrome",
     "CIColorMonochrome",
     {{"inputColor", kWarm}, {"inputIntensity", 0.7}},
     straightPoint([](Color p) { return hardLight(p, kWarmLinear, 0.7); })},
    {"posterize", "CIColorPosterize", {{"inputLevels", 5.0}}, straightPoint([](Color p) {
       return each(p, [](double c) { return std::floor(c * 4 + 0.5) / 4; });
     })},
    {"false_color",
     "CIFalseColor",
     {{"inputColor0", kWarm}, {"inputColor1", kCool}},
     straightPoint([](Color p) {
       const Color c = mixed(kWarmLinear, kCoolLinear, luminance(p));
       return Color{c.r, c.g, c.b, c.a * p.a};
     })},
    {"mask_to_alpha", "CIMaskToAlpha", {}, point([](Color p) {
       const double l = luminance(p);
       return Color{l, l, l, l};
     })},
    {"source_over", "CISourceOverCompositing", {}, blend([](Color f, Color b) { return f + b * (1 - f.a); })},
    {"source_in", "CISourceInCompositing", {}, blend([](Color f, Color b) { return f * b.a; })},
    {"source_out", "CISourceOutCompositing", {}, blend([](Color f, Color b) { return f * (1 - b.a); })},
    {"source_atop", "CISourceAtopCompositing", {}, blend([](Color f, Color b) {
       return f * b.a + b * (1 - f.a);
     })},
    {"addition", "CIAdditionCompositing", {}, blend([](Color f, Color b) { return f + b; })},
    {"multiply", "CIMultiplyCompositing", {}, blend([](Color f, Color b) {
       const Color c = each(f, b, [&](double x, double y) { return x * y + x * (1 - b.a) + y * (1 - f.a); });
       return Color{c.r, c.g, c.b, f.a + b.a - f.a * b.a};
     })},
    {"screen", "CIScreenBlendMode", {}, blend([](Color f, Color b) {
       return each(f, b, [](double x, double y) { return x + y - x * y; });
     })},
    {"maximum", "CIMaximumCompositing", {}, blend([](Color f, Color b) {
       return each(f, b, [](double x, double y) { return std::max(x, y); });
     })},
    {"minimum", "CIMinimumCompositing", {}, blend([](Color f, Color b) {
       return each(f, b, [](double x, double y) { return std::min(x, y); });
     })},
    {"dissolve",
     "CIDissolveTransition",
     {{"inputTargetImage", two().image}, {"inputTime", 0.3}},
     blend([](Color f, Color b) { return mixed(f, b, 0.3); })},
    {"blend_with_mask",
     "CIBlendWithMask",
     {{"inputMaskImage", three().image}},
     [](int x, int y) {
       return mixed(two().at(x, y), one().at(x, y), std::clamp(luminance(three().at(x, y)), 0.0, 1.0));
     }},
    {"constant_color",
     "CIConstantColorGenerator",
     {{"inputColor", kWarm}},
     [](int, int) { return premultiplied(kWarmLinear); }},
    {"checkerboard",
     "CICheckerboardGenerator",
     {{"inputCenter", CIVector{4, 3}}, {"inputColor0", kWarm}, {"inputColor1", kCool}, {"inputWidth", 5.0}},
     [](int x, int y) {
       return premultiplied(oddCell(x + 0.5 - 4, 5) == oddCell(y + 0.5 - 3, 5) ? kWarmLinear : kCoolLinear);
     }},
    {"stripes",
     "CIStripesGenerator",
     {{"inputCenter", CIVector{-7, 3}}, {"inputColor0", kWarm}, {"inputColor1", kCool}, {"inputWidth", 6.0}},
     [](int x, int) { return premultiplied(oddCell(x + 0.5 + 7, 6) ? kWarmLinear : kCoolLinear); }},
    {"linear_gradient",
     "CILinearGradient",
     {{"inputPoint0", CIVector{2, 3}},
      {"inputPoint1", CIVector{15, 9}},
      {"inputColor0", kWarm},
      {"inputColor1", kCool}},
     [](int x, int y) {
       const double t = ((x + 0.5 - 2) * 13 + (y + 0.5 - 3) * 6) / (13 * 13 + 6 * 6);
       return mixed(premultiplied(kWarmLinear), premultiplied(kCoolLinear), std::clamp(t, 0.0, 1.0));
     }},
    {"radial_gradient",
     "CIRadialGradient",
     {{"inputCenter", CIVector{10, 8}},
      {"inputRadius0", 3.0},
      {"inputRadius1", 9.0},
      {"inputColor0", kWarm},
      {"inputColor1", kCool}},
     [](int x, int y) {
       const double t = (std::hypot(x + 0.5 - 10, y + 0.5 - 8) - 3) / 6;
       return mixed(premultiplied(kWarmLinear), premultiplied(kCoolLinear), std::clamp(t, 0.0, 1.0));
     }},
    {"gaussian_gradient",
     "CIGaussianGradient",
     {{"inputCenter", CIVector{10, 8}}, {"inputRadius", 12.0}, {"inputColor0", kWarm}},
     [](int x, int y) {
       const double r = std::hypot(x + 0.5 - 10, y + 0.5 - 8);
       return premultiplied(kWarmLinear) * std::exp(-0.5 * r * r / 16);
     }},
    {"crop",
     "CICrop",
     {{"inputRectangle", CIVector{3, 2, 9, 8}}},
     [](int x, int y) { return x >= 3 && x < 12 && y >= 2 && y < 10 ? one().at(x, y) : Color{}; }},
    {"affine_transform",
     "CIAffineTransform",
     {{"inputTransform", CGAffineTransform{0.8, 0.6, -0.6, 0.8, 5, -2}}},
     [](int x, int y) {
       const double u = x + 0.5 - 5, v = y + 0.5 + 2;
       return bilinear(0.8 * u + 0.6 * v, -0.6 * u + 0.8 * v);
     }},
    {"affine_clamp",
     "CIAffineClamp",
     {{"inputTransform", CGAffineTransform{1, 0, 0, 1, 4, -3}}},
     [](int x, int y) {
       return one().at(std::clamp(x - 4, 0, kWidth - 1), std::clamp(y + 3, 0, kHeight - 1));
     }},
    {"clamp",
     "CIClamp",
     {{"inputExtent", CIVector{3, 2, 9, 8}}},
     [](int x, int y) { return one().at(std::clamp(x, 3, 11), std::clamp(y, 2, 9)); }},
    {"affine_tile",
     "CIAffineTile",
     {{"inputTransform", CGAffineTransform{1, 0, 0, 1, 4, -3}}},
     [](int x, int y) {
       return one().at(((x - 4) % kWidth + kWidth) % kWidth, ((y + 3) % kHeight + kHeight) % kHeight);
     }},
    {"gaussian_blur",
     "CIGaussianBlur",
     {{"inputRadius", 2.0}},
     [](int x, int y) { return gaussian(x, y, 2); },
     2e-3},
    {"box_blur",
     "CIBoxBlur",
     {{"inputRadius", 8.0}},
     [](int x, int y) { return convolved(x, y, std::vector<double>(7, 1.0 / 7)); }},
    {"median",
     "CIMedianFilter",
     {},
     [](int x, int y) {
       const auto middle = [&](double Color::*channel) {
         double nine[9];
         for (int k = 0; k < 9; ++k) nine[k] = one().at(x + k % 3 - 1, y + k / 3 - 1).*channel;
         std::nth_element(nine, nine + 4, nine + 9);
         return nine[4];
       };
       return Color{middle(&Color::r), middle(&Color::g), middle(&Color::b), middle(&Color::a)};
     }},
    {"maximum_of_a_disc",
     "CIMorphologyMaximum",
     {{"inputRadius", 3.7}},
     [](int x, int y) { return extremes(x, y, disc(3.7)).first; }},
    {"minimum_of_a_disc",
     "CIMorphologyMinimum",
     {{"inputRadius", 2.0}},
     [](int x, int y) { return extremes(x, y, disc(2)).second; }},
    {"minimum_of_a_wide_disc",
     "CIMorphologyMinimum",
     {{"inputRadius", 11.0}},
     [](int x, int y) { return extremes(x, y, disc(11)).second; }},
    {"gradient_of_a_disc",
     "CIMorphologyGradient",
     {},
     [](int x, int y) {
       const auto [most, least] = extremes(x, y, disc(5));
       const Color half = (most + least * -1) * 0.5;
       return Color{half.r, half.g, half.b, 1};
     }},
    {"maximum_of_a_rectangle",
     "CIMorphologyRectangleMaximum",
     {{"inputWidth", 4.0}, {"inputHeight", 15.0}},
     [](int x, int y) { return extremes(x, y, box(2, 7)).first; }},
    {"minimum_of_a_rectangle",
     "CIMorphologyRectangleMinimum",
     {{"inputWidth", 13.9}, {"inputHeight", 1.0}},
     [](int x, int y) { return extremes(x, y, box(6, 0)).second; }},
    {"motion_blur",
     "CIMotionBlur",
     {{"inputRadius", 3.0}, {"inputAngle", M_PI / 2}},
     [](int x, int y) {
       const auto w = gaussianWeights(3, 7);
       Color sum;
       for (int t = -7; t <= 7; ++t) sum = sum + one().at(x, y + t) * w[static_cast<size_t>(t + 7)];
       return sum;
     }},
    {"unsharp_mask",
     "CIUnsharpMask",
     {{"inputRadius", 1.5}, {"inputIntensity", 0.8}},
     [](int x, int y) {
       const Color p = one().at(x, y), g = gaussian(x, y, 1.5), same = straight(g) * p.a;
       return Color{p.r + 0.8 * (p.r - same.r), p.g + 0.8 * (p.g - same.g), p.b + 0.8 * (p.b - same.b), p.a};
     },
     3e-3},
    {"bloom",
     "CIBloom",
     {{"inputRadius", 2.0}, {"inputIntensity", 0.6}},
     [](int x, int y) {
       return each(one().at(x, y), gaussian(x, y, 2),
                   [](double c, double g) { return c + 0.6 * std::max(0.0, g - c); });
     },
     2e-3},
    {"pixellate",
     "CIPixellate",
     {{"inputCenter", CIVector{3, 2}}, {"inputScale", 4.0}},
     [](int x, int y) {
       return bilinear(3 + (std::floor((x + 0.5 - 3) / 4) + 0.5) * 4,
                       2 + (std::floor((y + 0.5 - 2) / 4) + 0.5) * 4);
     }},
    {"twirl",
     "CITwirlDistortion",
     {{"inputCenter", CIVector{11, 8}}, {"inputRadius", 9.0}, {"inputAngle", 2.0}},
     [](int x, int y) {
       const double dx = x + 0.5 - 11, dy = y + 0.5 - 8, a = -2 * (1 - smooth(std::hypot(dx, dy) / 9));
       return bilinear(11 + dx * std::cos(a) - dy * std::sin(a), 8 + dx * std::sin(a) + dy * std::cos(a));
     }},
    {"bump",
     "CIBumpDistortion",
     {{"inputCenter", CIVector{11, 8}}, {"inputRadius", 9.0}, {"inputScale", 0.6}},
     [](int x, int y) {
       const double dx = x + 0.5 - 11, dy = y + 0.5 - 8, k = 1 - 0.6 * (1 - smooth(std::hypot(dx, dy) / 9));
       return bilinear(11 + dx * k, 8 + dy * k);
     }},
};

CIImage outputOf(const Row& row) {
  const auto filter = CIFilter::filterWithName(row.filter);
  filter->setDefaults();
  for (const std::string& key : filter->inputKeys()) {
    if (key == "inputImage") filter->setValueForKey(one().image, key);
    if (key == "inputBackgroundImage") filter->setValueForKey(two().image, key);
  }
  for (const auto& [key, value] : row.inputs) filter->setValueForKey(value, key);
  return filter->outputImage();
}

class FormulaTest : public ::testing::TestWithParam<Row> {};

TEST_P(FormulaTest, HoldsForEverySample) {
  const Row& row = GetParam();
  constexpr int margin = 4, w = kWidth + 2 * margin, h = kHeight + 2 * margin;
  const CIImage image = outputOf(row);
  std::string error;
  const auto bytes = rendered(image, {{-margin, -margin}, {w, h}}, rgbaFloat(0, 0), {}, 1, &error,
                              ColorSpace::named("linear sRGB"));
  ASSERT_EQ(error, "");
  const auto* found = reinterpret_cast<const float*>(bytes.data());
  const CGRect e = image.extent();
  for (int y = -margin; y < kHeight + margin; ++y)
    for (int x = -margin; x < kWidth + margin; ++x) {
      const bool inside = x + 1 > e.origin.x && y + 1 > e.origin.y && x < e.origin.x + e.size.width &&
                          y < e.origin.y + e.size.height;
      const Color c = inside ? row.formula(x, y) : Color{};
      const float* f = found + ((h - 1 - (y + margin)) * w + x + margin) * 4;
      const double expected[] = {c.r, c.g, c.b, c.a};
      // The writer divides by alpha, so what little colour stands on no alpha cannot be compared.
      for (int k = 0; k < 4; ++k)
        ASSERT_NEAR(f[k], expected[k], row.tolerance * (1 + std::abs(expected[k])))
            << x << ", " << y << " channel " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Filters, FormulaTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FormulaTest, SepiaIsItsToneCurveMixedInLight) {
  struct Sample {
    double encoded, r, g, b;  // of the curve's own points, in 255ths
  };
  const Sample samples[] = {
      {.1, 44, 18, 0}, {.25, 89, 58, 12}, {.5, 148, 118, 62}, {.8, 214, 199, 160}, {1, 255, 254, 246}};
  for (const Sample& s : samples)
    for (double intensity : {1.0, 0.5}) {
      const auto filter = CIFilter::filterWithName("CISepiaTone");
      const auto gray = CIFilter::filterWithName("CIConstantColorGenerator");
      gray->setValueForKey(CIColor(s.encoded, s.encoded, s.encoded), "inputColor");
      filter->setValueForKey(gray->outputImage(), "inputImage");
      filter->setValueForKey(intensity, "inputIntensity");
      const auto bytes = rendered(filter->outputImage(), {{0, 0}, {1, 1}}, testing::rgba8(1, 1), {});
      const double expected[] = {s.r, s.g, s.b};
      for (size_t k = 0; k < 3; ++k) {
        const double light = mixed({lin(s.encoded)}, {lin(expected[k] / 255)}, intensity).r;
        EXPECT_NEAR(bytes[k], 255 * sRGBEncode(light), 0.75) << s.encoded << " at " << intensity;
      }
    }
}

}  // namespace
}  // namespace vello
