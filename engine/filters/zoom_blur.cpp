// Zoom blur: what a picture leaves on film while the lens zooms.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"

namespace vello {
namespace {

constexpr InputDef kZoomInputs[] = {
    image(), position("inputCenter", "Center", 150, 150),
    distance("inputAmount", "Amount", {.initial = 20, .identity = 0, .slider = {-200, 200}})};

constexpr int kMostCopies = 64;
constexpr double kSpacing = 2;        // pixels between copies where they are furthest apart
constexpr double kManyCopies = 4096;  // of an image without end
constexpr double kUnitAmount = 36;    // the amount that takes light from half the distance to the centre
constexpr double kDeviation = 0.93;   // of the weights, in halves of what is gone through

// Scales are spread evenly over their logarithms, so that copies of copies are evenly spread as well.
struct Scales {
  double first, step;  // logarithms
  int count;
  double at(double k) const { return exp(first + step * k); }
};

// What lies around the centre, `by` times as large.
CGRect scaled(const CGRect& r, const Values& v, double by) {
  if (isInfinite(r) || isEmpty(r)) return r;
  const double x = v.component("inputCenter", 0), y = v.component("inputCenter", 1);
  return {{x + (r.origin.x - x) * by, y + (r.origin.y - y) * by}, {r.size.width * by, r.size.height * by}};
}

// The weighted mean of copies of the image, larger or smaller around the centre. Where the whole range is
// gone through, the weights are a Gaussian's over the scales; within a part of it they are equal.
struct Copies {
  explicit Copies(const Values& v)
      : center{v.component("inputCenter", 0), v.component("inputCenter", 1)}, count(scalesOf(v).count) {
    const Scales scales = scalesOf(v);
    const double low = scales.at(-0.5), high = scales.at(count - 0.5),
                 half = fmax(fabs(high - low) / 2, 1e-9);
    double sum = 0;
    for (int k = 0; k < count; ++k) {
      const double s = scales.at(k), d = (s - (low + high) / 2) / (half * kDeviation);
      list[k] = {s, s * (v.number("whole") > 0 ? exp(-0.5 * d * d) : 1)};
      sum += list[k].weight;
    }
    for (int k = 0; k < count; ++k) list[k].weight /= sum;
  }
  static Scales scalesOf(const Values& v) {
    return {v.number("first"), v.number("step"), static_cast<int>(v.number("count", 1, kMostCopies))};
  }
  static CGRect extent(const Values& v, View<CGRect> images) {
    const Scales scales = scalesOf(v);
    return unionOf(scaled(images[0], v, 1 / scales.at(-0.5)),
                   scaled(images[0], v, 1 / scales.at(scales.count - 0.5)));
  }
  static float magnification(const Values&) { return 2; }
  CGPoint anchor() const { return center; }
  View<ScaledCopy> copies() const { return {list, count}; }
  CGPoint center;
  int count;
  ScaledCopy list[kMostCopies];
};

double farthest(const CGRect& r, double x, double y) {
  const double dx = fmax(fabs(r.origin.x - x), fabs(r.origin.x + r.size.width - x));
  const double dy = fmax(fabs(r.origin.y - y), fabs(r.origin.y + r.size.height - y));
  return sqrt(dx * dx + dy * dy);
}

// How many copies show no steps.
double copiesFor(const CGRect& extent, const Values& v, double span) {
  if (isInfinite(extent)) return kManyCopies;
  const double far = farthest(extent, v.component("inputCenter", 0), v.component("inputCenter", 1));
  return fmin(pow(kMostCopies, 3), ceil(fabs(span) * far / kSpacing) + 1);
}

// A range of scales around `middle`, both as logarithms, as the middles of `count` pieces.
CIImage copied(const CIImage& image, Values v, double middle, double range, int count, bool whole) {
  const double step = range / count;
  v.set("first", middle - range / 2 + step / 2);
  v.set("step", step);
  v.set("count", static_cast<double>(count));
  v.set("whole", whole ? 1.0 : 0.0);
  return applyKernel(zoom<Copies>(), v, {image});
}

// Light from the place itself up to a part of its distance to the centre, or, for amounts below 0, outwards.
// The copies are made in up to three rounds, each of copies of the last.
struct ZoomBlur {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    const double amount = v.number("inputAmount", -1e4, 1e4);
    if (amount == 0 || image.isNil() || isEmpty(image.extent())) return image;
    const double span = copysign(log(1 + fabs(amount) / kUnitAmount), -amount);
    const double wanted = copiesFor(image.extent(), v, span);
    const int rounds = wanted <= 16 ? 1 : wanted <= 256 ? 2 : 3;
    const int count = static_cast<int>(ceil(pow(wanted, 1.0 / rounds) - 1e-9));
    CIImage result = image;
    for (int left = rounds - 1; left > 0; --left)
      result = copied(result, v, 0, span / pow(count, left), count, false);
    result = copied(result, v, span / 2, span, count, true);
    return crop(result, unionOf(image.extent(), scaled(image.extent(), v, exp(-span))));
  }
};

constexpr FilterDef kFilters[] = {
    {"CIZoomBlur", "Zoom Blur", kBlur, kZoomInputs, compose<ZoomBlur>()},
};

}  // namespace

extern const FilterFamily kZoomBlurFamily = family(kFilters);

}  // namespace vello
