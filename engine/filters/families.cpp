#include "engine/filters/families.h"

namespace vello {

extern const FilterFamily kColorAdjustmentFamily;

View<FilterFamily> filterFamilies() {
  static const FilterFamily families[] = {kColorAdjustmentFamily};
  return {families, static_cast<int>(sizeof families / sizeof families[0])};
}

}  // namespace vello
