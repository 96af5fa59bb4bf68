// Cutting and moving.
#include "engine/catalogue/definition.h"
#include "engine/filters/categories.h"
#include "engine/image/node.h"

namespace vello {
namespace {

// The rectangle that holds everything, as the platform's attributes print it.
constexpr InputDef kCropInputs[] = {
    image(), withIdentity(rectangle("inputRectangle", "Rectangle", -8.98847e+307, -8.98847e+307, 1.79769e+308,
                                    1.79769e+308))};

struct Crop {
  CIImage operator()(const Values& v) const { return crop(v.image("inputImage"), v.rect("inputRectangle")); }
};

constexpr InputDef kTransformInputs[] = {image(), transform()};

struct AffineTransform {
  CIImage operator()(const Values& v) const {
    return affine(v.image("inputImage"), v.transform("inputTransform"));
  }
};

constexpr FilterDef kFilters[] = {
    {"CIAffineTransform", "Affine Transform", kGeometryAdjustment, kTransformInputs,
     compose<AffineTransform>()},
    {"CICrop", "Crop", kGeometryAdjustment, kCropInputs, compose<Crop>()},
};

}  // namespace

extern const FilterFamily kGeometryFamily = family(kFilters);

}  // namespace vello
