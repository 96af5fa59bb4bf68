#include "engine/filters/families.h"

namespace vello {

extern const FilterFamily kBlursFamily, kColorAdjustmentFamily, kColorEffectFamily, kCompositesFamily,
    kDistortionsFamily, kGeneratorsFamily, kGeometryFamily, kGradientsFamily, kMorphologyFamily,
    kSharpenAndGlowFamily, kStylizeFamily, kTilesFamily, kTransitionsFamily, kZoomBlurFamily;

View<FilterFamily> filterFamilies() {
  static const FilterFamily families[] = {
      kBlursFamily,      kColorAdjustmentFamily, kColorEffectFamily, kCompositesFamily, kDistortionsFamily,
      kGeneratorsFamily, kGeometryFamily,        kGradientsFamily,   kMorphologyFamily, kSharpenAndGlowFamily,
      kStylizeFamily,    kTilesFamily,           kTransitionsFamily, kZoomBlurFamily,
  };
  return {families, static_cast<int>(sizeof families / sizeof families[0])};
}

}  // namespace vello
