// Compositing of one image over another: Porter and Duff, "Compositing Digital Images" (1984), and the blend
// modes of W3C Compositing and Blending Level 1. All on premultiplied linear light, unclamped.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"

namespace vello {
namespace {

constexpr InputDef kInputs[] = {image(), backgroundImage()};

CGRect foregroundExtent(const Values&, View<CGRect> images) { return images[0]; }

struct SourceOver {
  explicit SourceOver(const Values&) {}
  static int passes(View<bool> clear) { return clear[1] ? 0 : clear[0] ? 1 : -1; }
  KERNEL Px operator()(Px f, Px b) const { return f + b * (1 - f.a); }
};

struct SourceIn {
  explicit SourceIn(const Values&) {}
  static CGRect extent(const Values& v, View<CGRect> images) { return foregroundExtent(v, images); }
  KERNEL Px operator()(Px f, Px b) const { return f * b.a; }
};

struct SourceOut {
  explicit SourceOut(const Values&) {}
  static CGRect extent(const Values& v, View<CGRect> images) { return foregroundExtent(v, images); }
  KERNEL Px operator()(Px f, Px b) const { return f * (1 - b.a); }
};

struct SourceAtop {
  explicit SourceAtop(const Values&) {}
  static CGRect extent(const Values&, View<CGRect> images) { return images[1]; }
  KERNEL Px operator()(Px f, Px b) const { return f * b.a + b * (1 - f.a); }
};

struct Addition {
  explicit Addition(const Values&) {}
  KERNEL Px operator()(Px f, Px b) const { return f + b; }
};

// Where only one of the two images is, it shows unchanged.
struct Multiply {
  explicit Multiply(const Values&) {}
  KERNEL float channel(float f, float b, float fa, float ba) const {
    return f * b + f * (1 - ba) + b * (1 - fa);
  }
  KERNEL Px operator()(Px f, Px b) const {
    return {channel(f.r, b.r, f.a, b.a), channel(f.g, b.g, f.a, b.a), channel(f.b, b.b, f.a, b.a),
            f.a + b.a - f.a * b.a};
  }
};

struct Screen {
  explicit Screen(const Values&) {}
  KERNEL Px operator()(Px f, Px b) const {
    return {f.r + b.r - f.r * b.r, f.g + b.g - f.g * b.g, f.b + b.b - f.b * b.b, f.a + b.a - f.a * b.a};
  }
};

struct Maximum {
  static constexpr int kHalvings = kTwice;
  explicit Maximum(const Values&) {}
  KERNEL Px operator()(Px f, Px b) const {
    return {max(f.r, b.r), max(f.g, b.g), max(f.b, b.b), max(f.a, b.a)};
  }
};

struct Minimum {
  static constexpr int kHalvings = kTwice;
  explicit Minimum(const Values&) {}
  KERNEL Px operator()(Px f, Px b) const {
    return {min(f.r, b.r), min(f.g, b.g), min(f.b, b.b), min(f.a, b.a)};
  }
};

constexpr FilterDef kFilters[] = {
    {"CIAdditionCompositing", "Addition", kComposite, kInputs, blend<Addition>()},
    {"CIMaximumCompositing", "Maximum", kComposite, kInputs, blend<Maximum>()},
    {"CIMinimumCompositing", "Minimum", kComposite, kInputs, blend<Minimum>()},
    {"CIMultiplyCompositing", "Multiply", kComposite, kInputs, blend<Multiply>()},
    {"CIScreenBlendMode", "Screen Blend Mode", kBlendMode, kInputs, blend<Screen>()},
    {"CISourceAtopCompositing", "Source Atop", kComposite, kInputs, blend<SourceAtop>()},
    {"CISourceInCompositing", "Source In", kComposite, kInputs, blend<SourceIn>()},
    {"CISourceOutCompositing", "Source Out", kComposite, kInputs, blend<SourceOut>()},
    {"CISourceOverCompositing", "Source Over", kComposite, kInputs, blend<SourceOver>()},
};

}  // namespace

extern const FilterFamily kCompositesFamily = family(kFilters);

}  // namespace vello
