#include "engine/filters/families.h"

namespace vello {

extern const FilterFamily kColorAdjustmentFamily, kCompositesFamily, kGeneratorsFamily, kGeometryFamily,
    kTilesFamily;

View<FilterFamily> filterFamilies() {
  static const FilterFamily families[] = {kColorAdjustmentFamily, kCompositesFamily, kGeneratorsFamily,
                                          kGeometryFamily, kTilesFamily};
  return {families, static_cast<int>(sizeof families / sizeof families[0])};
}

}  // namespace vello
