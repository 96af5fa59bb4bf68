// What blurs make of a single point of light: its sum, its middle and how far it spreads along and across.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/catalogue/filter.h"
#include "platform/color_space.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::rendered;
using testing::rgbaFloat;

constexpr int kReach = 130, kSide = 2 * kReach + 1;

struct Spread {
  double sum = 0, middleX = 0, middleY = 0;
  double along = 0, across = 0;  // variances, of a direction and at right angles to it
  int width = 0;                 // samples of the middle row that have light
};

// The filter on one white pixel, whose centre is the origin that places are measured from.
Spread spreadOf(const std::string& name, double radius, double angle) {
  const auto point = CIFilter::filterWithName("CIAffineTransform");
  const std::vector<uint8_t> white(4, 255);
  point->setValueForKey(
      CIImage::imageWithBitmap(Bitmap(testing::rgba8(1, 1), ColorSpace::sRGB(), Data(white))), "inputImage");
  point->setValueForKey(CGAffineTransform{1, 0, 0, 1, kReach, kReach}, "inputTransform");
  const auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  filter->setValueForKey(point->outputImage(), "inputImage");
  filter->setValueForKey(radius, "inputRadius");
  if (name == "CIMotionBlur") filter->setValueForKey(angle, "inputAngle");
  const auto bytes = rendered(filter->outputImage(), {{0, 0}, {kSide, kSide}}, rgbaFloat(0, 0), {}, 1,
                              nullptr, ColorSpace::named("linear sRGB"));
  const auto* samples = reinterpret_cast<const float*>(bytes.data());
  Spread s;
  for (int row = 0; row < kSide; ++row)
    for (int column = 0; column < kSide; ++column) {
      const double alpha = samples[(row * kSide + column) * 4 + 3], x = column - kReach, y = kReach - row;
      const double u = x * std::cos(angle) + y * std::sin(angle),
                   v = y * std::cos(angle) - x * std::sin(angle);
      s.sum += alpha;
      s.middleX += alpha * x;
      s.middleY += alpha * y;
      s.along += alpha * u * u;
      s.across += alpha * v * v;
      s.width += row == kReach && alpha > 0;
    }
  return s;
}

TEST(BlurShapeTest, GaussianSpreadsByItsRadiusBothWays) {
  for (const double sigma : {0.5, 2.0, 4.9, 5.1, 13.0, 30.0}) {
    const Spread s = spreadOf("CIGaussianBlur", sigma, 0.4);
    // Its extent cuts it at three sigma, which keeps 97 percent of the variance along each axis.
    EXPECT_NEAR(s.sum, 1, 0.007) << sigma;
    EXPECT_NEAR(std::sqrt(s.along), sigma, 0.02 * sigma + (sigma < 1 ? 0.05 : 0)) << sigma;
    EXPECT_NEAR(s.along, s.across, 0.01 * s.along) << sigma;
    EXPECT_NEAR(s.middleX, 0, 1e-4 * std::max(1.0, sigma)) << sigma;
    EXPECT_NEAR(s.middleY, 0, 1e-4 * std::max(1.0, sigma)) << sigma;
  }
}

TEST(BlurShapeTest, BoxIsTheLargestOddWidthBelowItsRadius) {
  const std::pair<double, int> rows[] = {{1, 1}, {2.9, 1}, {3, 3}, {10, 9}, {40, 39}};
  for (const auto& [radius, width] : rows) {
    const Spread s = spreadOf("CIBoxBlur", radius, 0);
    EXPECT_EQ(s.width, width) << radius;
    EXPECT_NEAR(s.along, (width * width - 1) / 12.0, 1e-3 * width) << radius;
    EXPECT_NEAR(s.sum, 1, 1e-5) << radius;
  }
}

TEST(BlurShapeTest, MotionSpreadsAlongItsAngleAlone) {
  // The variance of a unit Gaussian cut at 2.5: 1 - 5 density(2.5) / (1 - 2 tail(2.5)).
  constexpr double kept = 0.9113;
  for (const double angle : {0.0, 0.3, M_PI / 4, 1.0, M_PI / 2, 2.5, -1.2, 9.0})
    for (const double radius : {4.0, 20.0}) {
      const Spread s = spreadOf("CIMotionBlur", radius, angle);
      EXPECT_NEAR(s.sum, 1, 1e-5) << angle;
      EXPECT_NEAR(s.along, kept * radius * radius, 0.06 * radius * radius) << angle << ", " << radius;
      EXPECT_LT(s.across, 0.26) << angle << ", " << radius;
      EXPECT_NEAR(s.middleX, 0, 1e-3) << angle;
      EXPECT_NEAR(s.middleY, 0, 1e-3) << angle;
    }
}

// Light where x is beyond 240, zoomed around x = 0: at x it comes from the scales above 240 / x.
TEST(BlurShapeTest, ZoomIsAGaussianMeanOverScales) {
  constexpr int width = 1400, height = 9, edge = 240;
  std::vector<float> samples(static_cast<size_t>(width * height * 4), 1.0f);
  for (size_t k = 0; k < samples.size(); ++k)
    if (k % 4 != 3 && k / 4 % width < edge) samples[k] = 0;
  const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
  const Bitmap bitmap(rgbaFloat(width, height), ColorSpace::named("linear sRGB"),
                      Data(std::vector<uint8_t>(bytes, bytes + samples.size() * sizeof(float))));
  const auto filter = CIFilter::filterWithName("CIZoomBlur");
  filter->setValueForKey(CIImage::imageWithBitmap(bitmap), "inputImage");
  filter->setValueForKey(CIVector{0, 4.5}, "inputCenter");
  for (const double amount : {3.0, 36.0, 200.0}) {
    filter->setValueForKey(amount, "inputAmount");
    const auto found = rendered(filter->outputImage(), {{0, 4}, {width, 1}}, rgbaFloat(0, 0), {}, 1, nullptr,
                                ColorSpace::named("linear sRGB"));
    const auto* row = reinterpret_cast<const float*>(found.data());
    const double least = 36 / (36 + amount), middle = (1 + least) / 2, deviation = 0.93 * (1 - least) / 2;
    const auto below = [&](double s) { return std::erf((s - middle) / deviation / std::sqrt(2.0)); };
    for (int x = 10; x < width / 2; ++x) {
      const double from = std::clamp(edge / (x + 0.5), least, 1.0);
      const double light = (below(1) - below(from)) / (below(1) - below(least));
      ASSERT_NEAR(row[4 * x], light, 0.012) << x << ", amount " << amount;
      ASSERT_NEAR(row[4 * x + 3], 1, 1e-6) << x << ", amount " << amount;
    }
  }
}

}  // namespace
}  // namespace vello
