// Blurs: weighted means of premultiplied linear light, transparent outside the image.
#include "engine/filters/blurs.h"

#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"

namespace vello {
namespace {

constexpr double kLargestRadius = 1e5;
constexpr char kRadius[] = "inputRadius";

constexpr InputDef kGaussianInputs[] = {
    image(),
    scalar(kRadius, "Radius", {.initial = 10, .identity = 0, .range = {0, kNone}, .slider = {0, 100}})};

// The radius is sigma. It reaches four sigma, where what is left out changes no 8-bit value; its extent is
// three.
struct Gaussian {
  explicit Gaussian(const Values& v) : sigma(fmax(v.number(kRadius, 0, kLargestRadius), 1e-3)) {}
  static bool identity(const Values& v) { return v.number(kRadius) <= 0; }
  static CGRect extent(const Values& v, View<CGRect> images) {
    const double outset = 3 * v.number(kRadius, 0, kLargestRadius);
    return grown(images[0], outset, outset);
  }
  double profile(double t) const { return exp(-0.5 * t * t / (sigma * sigma)); }
  double reach() const { return 4 * sigma; }
  double smooth() const { return sigma; }
  double sigma;
};

constexpr InputDef kBoxInputs[] = {
    image(), distance(kRadius, "Radius", {.initial = 10, .range = {1, kNone}, .slider = {1, 100}})};

// The mean of a square whose side is the largest odd number below the radius.
struct Box {
  explicit Box(const Values& v) : half(halfWidth(v) + 0.5) {}
  static double halfWidth(const Values& v) { return floor((v.number(kRadius, 1, kLargestRadius) - 1) / 2); }
  static bool identity(const Values& v) { return halfWidth(v) == 0; }
  // Where hardly more than one sample lies in the square, it matters which half of that is light.
  static int halvings(const Values& v, double pitch) { return halfWidth(v) < pitch ? kTwice : 0; }
  static CGRect extent(const Values& v, View<CGRect> images) {
    return grown(images[0], halfWidth(v), halfWidth(v));
  }
  double profile(double t) const { return fabs(t) <= half ? 1 : 0; }
  double reach() const { return half; }
  double half;
};

constexpr InputDef kMedianInputs[] = {image()};

KERNEL Px least(Px p, Px q) { return {min(p.r, q.r), min(p.g, q.g), min(p.b, q.b), min(p.a, q.a)}; }
KERNEL Px greatest(Px p, Px q) { return {max(p.r, q.r), max(p.g, q.g), max(p.b, q.b), max(p.a, q.a)}; }
KERNEL Px middle(Px p, Px q, Px r) { return greatest(least(p, q), least(greatest(p, q), r)); }

// The middle of three by three samples, channel by channel: with every column in order it is the middle of
// the greatest low, the middle middle and the least high one (Smith, "Implementing median filters in XC4000E
// FPGAs", 1996). Samples of more than a pixel are means already: they keep what little is left of the specks
// that it takes away.
struct Median {
  Median(const Values&, const Given& given) : full(given.pitch <= 1 ? 1.0f : 0.0f) {}

  double reach() const { return 1; }
  template <class W>
  KERNEL Px operator()(const W& w) const {
    const Px a = w(-1, -1), b = w(-1, 0), c = w(-1, 1);
    const Px d = w(0, -1), e = w(0, 0), f = w(0, 1);
    const Px g = w(1, -1), h = w(1, 0), i = w(1, 1);
    const Px low = greatest(greatest(least(least(a, b), c), least(least(d, e), f)), least(least(g, h), i));
    const Px high =
        least(least(greatest(greatest(a, b), c), greatest(greatest(d, e), f)), greatest(greatest(g, h), i));
    const Px found = middle(low, middle(middle(a, b, c), middle(d, e, f), middle(g, h, i)), high);
    return {select(full > 0, found.r, e.r), select(full > 0, found.g, e.g), select(full > 0, found.b, e.b),
            select(full > 0, found.a, e.a)};
  }
  float full;  // a number, not a bool: loops over samples vectorise with floats alone
};

constexpr InputDef kMotionInputs[] = {
    image(),
    distance(kRadius, "Radius", {.initial = 20, .identity = 0, .range = {0, kNone}, .slider = {0, 100}}),
    angle("inputAngle", "Angle",
          {.initial = 0, .identity = 0, .slider = {-3.141592653589793, 3.141592653589793}})};

// A Gaussian along one direction: the radius is sigma, cut at two and a half.
struct Motion {
  explicit Motion(const Values& v)
      : sigma(fmax(v.number(kRadius, 0, kLargestRadius), 1e-3)), along(direction(v)) {}
  static Vec2 direction(const Values& v) {
    const double a = v.number("inputAngle", -1e6, 1e6);
    return {cos(a), sin(a)};
  }
  static bool identity(const Values& v) { return v.number(kRadius) <= 0; }
  static CGRect extent(const Values& v, View<CGRect> images) {
    const double r = 6 * v.number(kRadius, 0, kLargestRadius);
    const Vec2 d = direction(v);
    return grown(images[0], ceil(r * fabs(d.x) - 1e-9), ceil(r * fabs(d.y) - 1e-9));
  }
  double profile(double t) const { return exp(-0.5 * t * t / (sigma * sigma)); }
  double reach() const { return 2.5 * sigma; }
  Vec2 direction() const { return along; }
  double sigma;
  Vec2 along;
};

constexpr FilterDef kFilters[] = {
    {"CIBoxBlur", "Box Blur", kBoxBlur, kBoxInputs, separable<Box>()},
    {"CIGaussianBlur", "Gaussian Blur", kBlur, kGaussianInputs, separable<Gaussian>()},
    {"CIMedianFilter", "Median", kBlur, kMedianInputs, area<Median>()},
    {"CIMotionBlur", "Motion Blur", kBlur, kMotionInputs, line<Motion>()},
};

}  // namespace

CIImage gaussianBlur(const CIImage& image, double sigma) {
  Values values;
  values.set(kRadius, sigma);
  return applyKernel(separable<Gaussian>(), values, {image});
}

extern const FilterFamily kBlursFamily = family(kFilters);

}  // namespace vello
