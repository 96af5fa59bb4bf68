// Filters that reach far, which the everyday renderer computes by other sums than the plain one.
#include <gtest/gtest.h>

#include "tests/engine/filtered.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::largestStep;
using testing::picture;
using testing::rendered;
using testing::rgba8;

struct FarReach {
  std::string name, filter;
  testing::FilterInputs values;
};

class FarReachTest : public ::testing::TestWithParam<FarReach> {};

TEST_P(FarReachTest, IsThePlainResultInTilesOfAnySize) {
  constexpr CGRect rect{{-7, -5}, {229, 143}};
  for (const bool transparent : {false, true}) {
    const CIImage image =
        testing::filtered(picture(211, 137, transparent), GetParam().filter, GetParam().values);
    const auto bytes = [&](const ContextOptions& options) {
      return rendered(image, rect, rgba8(0, 0), options);
    };
    ContextOptions plain, whole, tiled;
    plain.reference = true;
    whole.tileSide = 512;
    tiled.tileSide = 70;
    const auto found = bytes(whole);
    ASSERT_FALSE(found.empty());
    EXPECT_LE(largestStep(found, bytes(plain)), 1) << "transparent: " << transparent;
    EXPECT_TRUE(found == bytes(tiled)) << "transparent: " << transparent;
  }
}

std::vector<FarReach> farReaches() {
  std::vector<FarReach> list = {
      {"gradient_50", "CIMorphologyGradient", {{"inputRadius", 50}}},
      {"maximum_33", "CIMorphologyMaximum", {{"inputRadius", 33.3}}},
      {"minimum_17", "CIMorphologyMinimum", {{"inputRadius", 17}}},
      {"unsharp_100", "CIUnsharpMask", {{"inputRadius", 100}, {"inputIntensity", 1}}},
      {"zoom_out", "CIZoomBlur", {{"inputAmount", -200}}},
      {"zoom_in", "CIZoomBlur", {{"inputAmount", 200}}},
  };
  // No slope is a simple fraction.
  for (const int angle : {1, 5, 8, 11, 14, 20, 23, 28})
    for (const int radius : {31, 100})
      list.push_back({"motion_" + std::to_string(radius) + "_along_" + std::to_string(angle),
                      "CIMotionBlur",
                      {{"inputRadius", radius + 0.7}, {"inputAngle", angle / 9.0}}});
  return list;
}

INSTANTIATE_TEST_SUITE_P(Filters, FarReachTest, ::testing::ValuesIn(farReaches()),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace vello
