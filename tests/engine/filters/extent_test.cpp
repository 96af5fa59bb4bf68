// The rectangles that filters declare for their results.
#include <gtest/gtest.h>

#include "engine/catalogue/filter.h"
#include "engine/image/extent.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::picture;

// The first image is 40 x 30, the others are 50 x 20; all lie at the origin.
struct Row {
  const char* name;
  const char* filter;
  std::vector<std::pair<const char*, Value>> inputs;
  CGRect extent;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Row kRows[] = {
    {"point_kernels_keep_it", "CIExposureAdjust", {{"inputEV", 1.0}}, {{0, 0}, {40, 30}}},
    {"crop_cuts", "CICrop", {{"inputRectangle", CIVector{-5, 10, 20, 90}}}, {{0, 10}, {15, 20}}},
    {"crop_of_nothing_is_empty", "CICrop", {{"inputRectangle", CIVector{100, 100, 5, 5}}}, {}},
    {"transform_bounds",
     "CIAffineTransform",
     {{"inputTransform", CGAffineTransform{0, 2, -1, 0, 7, 0}}},
     {{-23, 0}, {30, 80}}},
    {"clamp_is_everywhere", "CIClamp", {{"inputExtent", CIVector{3, 2, 9, 8}}}, kInfiniteExtent},
    {"affine_clamp_is_everywhere", "CIAffineClamp", {}, kInfiniteExtent},
    {"affine_tile_is_everywhere", "CIAffineTile", {}, kInfiniteExtent},
    {"constant_color_is_everywhere", "CIConstantColorGenerator", {}, kInfiniteExtent},
    {"checkerboard_is_everywhere", "CICheckerboardGenerator", {}, kInfiniteExtent},
    {"gradients_are_everywhere", "CIRadialGradient", {}, kInfiniteExtent},
    {"gaussian_grows_three_sigma", "CIGaussianBlur", {{"inputRadius", 8.0}}, {{-24, -24}, {88, 78}}},
    {"box_grows_half_its_width", "CIBoxBlur", {{"inputRadius", 40.0}}, {{-19, -19}, {78, 68}}},
    {"median_keeps_it", "CIMedianFilter", {}, {{0, 0}, {40, 30}}},
    {"discs_grow_it", "CIMorphologyMinimum", {{"inputRadius", 7.5}}, {{-7.5, -7.5}, {55, 45}}},
    {"rectangles_grow_it",
     "CIMorphologyRectangleMaximum",
     {{"inputWidth", 9.0}, {"inputHeight", 4.0}},
     {{-4, -2}, {48, 34}}},
    {"gradient_keeps_it", "CIMorphologyGradient", {}, {{0, 0}, {40, 30}}},
    {"motion_grows_along_its_angle",
     "CIMotionBlur",
     {{"inputRadius", 5.0}, {"inputAngle", 0.0}},
     {{-30, 0}, {100, 30}}},
    {"bloom_grows_with_its_blur", "CIBloom", {{"inputRadius", 10.0}}, {{-30, -30}, {100, 90}}},
    {"unsharp_mask_keeps_it", "CIUnsharpMask", {{"inputRadius", 10.0}}, {{0, 0}, {40, 30}}},
    {"zoom_grows_away_from_its_centre",
     "CIZoomBlur",
     {{"inputCenter", CIVector{10, 0}}, {"inputAmount", 36.0}},
     {{-10, 0}, {80, 60}}},
    {"twirl_adds_its_square",
     "CITwirlDistortion",
     {{"inputCenter", CIVector{5, 6}}, {"inputRadius", 10.0}},
     {{-5, -4}, {45, 34}}},
    {"bump_keeps_it", "CIBumpDistortion", {{"inputCenter", CIVector{0, 0}}}, {{0, 0}, {40, 30}}},
    {"pixels_reach_half_a_cell_out", "CIPixellate", {{"inputScale", 8.0}}, {{-4, -4}, {48, 38}}},
    {"over_is_both", "CISourceOverCompositing", {}, {{0, 0}, {50, 30}}},
    {"in_is_the_source", "CISourceInCompositing", {}, {{0, 0}, {40, 30}}},
    {"out_is_the_source", "CISourceOutCompositing", {}, {{0, 0}, {40, 30}}},
    {"atop_is_the_background", "CISourceAtopCompositing", {}, {{0, 0}, {50, 20}}},
    {"screen_is_both", "CIScreenBlendMode", {}, {{0, 0}, {50, 30}}},
    {"dissolve_is_both", "CIDissolveTransition", {{"inputTime", 0.5}}, {{0, 0}, {50, 30}}},
    {"masked_is_image_and_background", "CIBlendWithMask", {}, {{0, 0}, {50, 30}}},
};

class ExtentTest : public ::testing::TestWithParam<Row> {};

TEST_P(ExtentTest, IsDeclared) {
  const auto filter = CIFilter::filterWithName(GetParam().filter);
  filter->setDefaults();
  for (const InputAttributes& input : filter->attributes().inputs)
    if (input.className == "CIImage")
      filter->setValueForKey(input.key == "inputImage" ? picture(40, 30) : picture(50, 20), input.key);
  for (const auto& [key, value] : GetParam().inputs) filter->setValueForKey(value, key);
  const CGRect found = filter->outputImage().extent(), expected = GetParam().extent;
  EXPECT_NEAR(found.origin.x, expected.origin.x, 1e-9);
  EXPECT_NEAR(found.origin.y, expected.origin.y, 1e-9);
  EXPECT_NEAR(found.size.width, expected.size.width, 1e-9);
  EXPECT_NEAR(found.size.height, expected.size.height, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Filters, ExtentTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace vello
