// Filters that compare an image with its own blur.
#include "engine/catalogue/definition.h"
#include "engine/filters/blurs.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"

namespace vello {
namespace {

constexpr InputDef kUnsharpInputs[] = {
    image(),
    distance("inputRadius", "Radius",
             {.initial = 2.5, .identity = 0, .range = {0, kNone}, .slider = {0, 100}}),
    scalar("inputIntensity", "Intensity",
           {.initial = 0.5, .identity = 0, .range = {0, kNone}, .slider = {0, 1}})};

constexpr InputDef kBloomInputs[] = {
    image(),
    distance("inputRadius", "Radius",
             {.initial = 10, .identity = 0, .range = {0, kNone}, .slider = {0, 100}}),
    scalar("inputIntensity", "Intensity",
           {.initial = 0.5, .identity = 0, .range = {0, kNone}, .slider = {0, 1}})};

bool changesNothing(const Values& v) {
  return v.number("inputRadius") <= 0 || v.number("inputIntensity") <= 0;
}

float intensityOf(const Values& v) { return static_cast<float>(v.number("inputIntensity", 0, 1e4)); }

// Adds what the blur takes away. The blur is compared at the sample's own alpha, so that the image's borders,
// where the blur fades, get no halo.
struct AddDetail {
  // Around a blur wider than the samples whole samples shoot beyond white, where they are clipped.
  static int halvings(const Values& v, double pitch) {
    return v.number("inputRadius") > 2 * pitch ? kTwice : kOnce;
  }
  explicit AddDetail(const Values& v) : amount(intensityOf(v)) {}
  static CGRect extent(const Values&, View<CGRect> images) { return images[0]; }
  KERNEL float channel(float c, float blurred) const { return c + amount * (c - blurred); }
  KERNEL Px operator()(Px p, Px blurred) const {
    const float same = p.a / select(blurred.a > 0, blurred.a, 1.0f);
    return {channel(p.r, blurred.r * same), channel(p.g, blurred.g * same), channel(p.b, blurred.b * same),
            p.a};
  }
  float amount;
};

struct UnsharpMask {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    if (changesNothing(v)) return image;
    return applyKernel(blend<AddDetail>(), v, {image, gaussianBlur(image, v.number("inputRadius"))});
  }
};

// Adds the light that the blur carries over.
struct AddGlow {
  explicit AddGlow(const Values& v) : amount(intensityOf(v)) {}
  KERNEL float channel(float c, float blurred) const { return c + amount * max(0.0f, blurred - c); }
  KERNEL Px operator()(Px p, Px b) const {
    return {channel(p.r, b.r), channel(p.g, b.g), channel(p.b, b.b), channel(p.a, b.a)};
  }
  float amount;
};

struct Bloom {
  CIImage operator()(const Values& v) const {
    const CIImage image = v.image("inputImage");
    if (changesNothing(v)) return image;
    return applyKernel(blend<AddGlow>(), v, {image, gaussianBlur(image, v.number("inputRadius"))});
  }
};

constexpr FilterDef kFilters[] = {
    {"CIBloom", "Bloom", kStylize, kBloomInputs, compose<Bloom>()},
    {"CIUnsharpMask", "Unsharp Mask", kSharpen, kUnsharpInputs, compose<UnsharpMask>()},
};

}  // namespace

extern const FilterFamily kSharpenAndGlowFamily = family(kFilters);

}  // namespace vello
