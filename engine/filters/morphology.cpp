// Morphology: the greatest and least samples around each place, channel by channel, premultiplied,
// transparent outside the image.
#include <math.h>

#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"

namespace vello {
namespace {

constexpr double kLargestRadius = 1e5;

double radiusOf(const Values& v) { return v.number("inputRadius", 0, kLargestRadius); }

constexpr InputDef kDiscInputs[] = {
    image(), distance("inputRadius", "Radius", {.initial = 0, .identity = 0, .slider = {0, 50}})};

constexpr InputDef kGradientInputs[] = {
    image(),
    distance("inputRadius", "Radius", {.initial = 5, .identity = 0, .range = {0, kNone}, .slider = {0, 50}})};

// The samples whose centres lie in a disc.
template <bool Greatest>
struct Disc {
  static constexpr int kHalvings = kToFullSize;  // extremes of means are milder
  static constexpr bool kGreatest = Greatest;
  explicit Disc(const Values& v) : radius(radiusOf(v)) {}
  static bool identity(const Values& v) { return v.number("inputRadius") <= 0; }
  static CGRect extent(const Values& v, View<CGRect> images) {
    return grown(images[0], radiusOf(v), radiusOf(v));
  }
  double reach() const { return radius; }
  double chord(double height) const { return sqrt(fmax(0, radius * radius - height * height)); }
  double radius;
};

constexpr InputDef kRectangleInputs[] = {
    image(),
    integer("inputWidth", "Width", {.initial = 5, .identity = 1, .range = {1, kNone}, .slider = {1, 49}}),
    integer("inputHeight", "Height", {.initial = 5, .identity = 1, .range = {1, kNone}, .slider = {1, 49}})};

// The samples of a rectangle, each of whose sides is the odd number nearest to what is asked for.
template <bool Greatest>
struct Rectangle {
  static constexpr int kHalvings = kToFullSize;  // extremes of means are milder
  static constexpr bool kGreatest = Greatest;
  explicit Rectangle(const Values& v) : across(half(v, "inputWidth")), along(half(v, "inputHeight")) {}
  static double half(const Values& v, const char* key) { return floor(v.number(key, 1, kLargestRadius) / 2); }
  static bool identity(const Values& v) { return half(v, "inputWidth") == 0 && half(v, "inputHeight") == 0; }
  static CGRect extent(const Values& v, View<CGRect> images) {
    return grown(images[0], half(v, "inputWidth"), half(v, "inputHeight"));
  }
  double reach() const { return along; }
  double chord(double) const { return across; }
  double across, along;
};

// Half of what lies between the greatest and the least samples.
struct Difference {
  static constexpr int kHalvings = kToFullSize;
  explicit Difference(const Values&) {}
  static CGRect extent(const Values&, View<CGRect> images) { return images[0]; }
  KERNEL Px operator()(Px, Px most, Px least) const {
    return {(most.r - least.r) * 0.5f, (most.g - least.g) * 0.5f, (most.b - least.b) * 0.5f, 1};
  }
};

struct Gradient {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    if (v.number("inputRadius") <= 0) return image;
    return applyKernel(blend<Difference, 3>(), v,
                       {image, applyKernel(extreme<Disc<true>>(), v, {image}),
                        applyKernel(extreme<Disc<false>>(), v, {image})});
  }
};

constexpr FilterDef kFilters[] = {
    {"CIMorphologyGradient", "Morphology Gradient", kBoxBlur, kGradientInputs, compose<Gradient>(),
     PitchClass::fine},
    {"CIMorphologyMaximum", "Morphology Maximum", kBoxBlur, kDiscInputs, extreme<Disc<true>>(),
     PitchClass::fine},
    {"CIMorphologyMinimum", "Morphology Minimum", kBoxBlur, kDiscInputs, extreme<Disc<false>>(),
     PitchClass::fine},
    {"CIMorphologyRectangleMaximum", "Morphology Rectangle Maximum", kBoxBlur, kRectangleInputs,
     extreme<Rectangle<true>>(), PitchClass::fine},
    {"CIMorphologyRectangleMinimum", "Morphology Rectangle Minimum", kBoxBlur, kRectangleInputs,
     extreme<Rectangle<false>>(), PitchClass::fine},
};

}  // namespace

extern const FilterFamily kMorphologyFamily = family(kFilters);

}  // namespace vello
