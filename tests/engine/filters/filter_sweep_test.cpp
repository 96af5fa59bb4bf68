// Every filter of the catalogue, whatever it does: extents, ranges, identities.
#include <gtest/gtest.h>

#include "tests/engine/filters/built_in.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::builtInFilters;
using testing::picture;
using testing::rendered;
using testing::rgba8;

// The filter on small pictures, its places and lengths brought to their size.
std::shared_ptr<CIFilter> filterOn(const std::string& name, const CIImage& image) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  int count = 0;
  for (const InputAttributes& input : filter->attributes().inputs) {
    if (input.className == "CIImage")
      filter->setValueForKey(count++ == 0 ? image : picture(40, 52, true, 7), input.key);
    if (input.type == "Position") filter->setValueForKey(CIVector{23.5, 17}, input.key);
    if (input.type == "Rectangle") filter->setValueForKey(CIVector{5, 4, 31, 22.5}, input.key);
    if (input.type == "Distance" && input.defaultValue.number() > 60) filter->setValueForKey(20.0, input.key);
    if (input.type == "Time") filter->setValueForKey(0.4, input.key);
    if (input.key == "inputPoint1") filter->setValueForKey(CIVector{50, 41}, input.key);
    if (input.className == "NSAffineTransform")
      filter->setValueForKey(CGAffineTransform{0.9, 0.2, -0.3, 1.1, 4, 2}, input.key);
    const bool unchanged = !input.identity.isNil() && input.identity == input.defaultValue;
    if (unchanged && input.sliderMin && input.sliderMax)
      filter->setValueForKey(0.3 * *input.sliderMin + 0.7 * *input.sliderMax, input.key);
  }
  return filter;
}

class FilterSweepTest : public ::testing::TestWithParam<std::string> {};

TEST_P(FilterSweepTest, NothingShowsBeyondTheDeclaredExtent) {
  const CIImage output = filterOn(GetParam(), picture(61, 47))->outputImage();
  const CGRect e = output.extent();
  if (isInfinite(e)) return;
  const CGRect around = roundedOut(grown(e, 8, 8));
  const auto bytes = rendered(output, around, rgba8(0, 0), {});
  const auto width = static_cast<size_t>(around.size.width), height = static_cast<size_t>(around.size.height);
  for (size_t row = 0; row < height; ++row)
    for (size_t k = 0; k < width * 4; ++k) {
      const bool border = row < 7 || row >= height - 7 || k < 28 || k >= width * 4 - 28;
      if (border) {
        ASSERT_EQ(bytes[row * width * 4 + k], 0);
      }
    }
}

TEST_P(FilterSweepTest, DefaultsLieInTheirRanges) {
  for (const InputAttributes& input : CIFilter::attributesForFilterName(GetParam())->inputs) {
    const double v = input.defaultValue.number();
    if (input.className != "NSNumber") continue;
    EXPECT_TRUE(!input.min || v >= *input.min) << input.key;
    EXPECT_TRUE(!input.max || v <= *input.max) << input.key;
    EXPECT_TRUE(!input.sliderMin || !input.sliderMax || *input.sliderMin < *input.sliderMax) << input.key;
  }
}

TEST_P(FilterSweepTest, IdentityValuesHandTheInputThrough) {
  const CIImage image = picture(20, 20);
  const auto filter = filterOn(GetParam(), image);
  bool has = false;
  for (const InputAttributes& input : filter->attributes().inputs) {
    if (input.identity.isNil()) continue;
    filter->setValueForKey(input.identity, input.key);
    has = true;
  }
  // 300 levels are the platform's word for none; they are steps all the same.
  if (!has || filter->attributes().stepped) return;
  const auto same = rendered(filter->outputImage(), image.extent(), rgba8(0, 0), {});
  EXPECT_EQ(same, rendered(image, image.extent(), rgba8(0, 0), {}));
}

INSTANTIATE_TEST_SUITE_P(Catalogue, FilterSweepTest, ::testing::ValuesIn(builtInFilters()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace vello
