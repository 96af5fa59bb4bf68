// Filters at coarser samples than the picture's: a preview must look like the finished picture, scaled down.
#include <gtest/gtest.h>

#include "platform/color_space.h"
#include "tests/engine/filters/built_in.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::builtInFilters;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

constexpr int kSide = 240;
constexpr CGRect kAll{{0, 0}, {kSide, kSide}};

// Soft forms without noise that fade out before the picture ends, premultiplied.
CIImage soft(double phase) {
  std::vector<uint8_t> bytes;
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const double alpha = std::min(1.0, std::min({x, y, kSide - 1 - x, kSide - 1 - y}) / 24.0);
      for (int c = 0; c < 3; ++c) {
        const double form = std::sin(x * 0.031 + c + phase) * std::cos(y * 0.043 - c * phase);
        bytes.push_back(static_cast<uint8_t>(std::lround((128 + 110 * form) * alpha)));
      }
      bytes.push_back(static_cast<uint8_t>(std::lround(255 * alpha)));
    }
  return CIImage::imageWithBitmap(Bitmap(rgba8(kSide, kSide), ColorSpace::sRGB(), Data(std::move(bytes))));
}

std::shared_ptr<CIFilter> filterOnSoftImages(const std::string& name) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  double phase = 0.3;
  for (const InputAttributes& input : filter->attributes().inputs) {
    if (input.className == "CIImage") filter->setValueForKey(soft(phase += 0.7), input.key);
    if (input.type == "Rectangle") filter->setValueForKey(CIVector{40, 48, 160, 120}, input.key);
    if (input.key == "inputScale" && name == "CIPixellate") filter->setValueForKey(24.0, input.key);
    const bool unchanged = !input.identity.isNil() && input.identity == input.defaultValue;
    if (unchanged && input.sliderMin && input.sliderMax)
      filter->setValueForKey(0.4 * *input.sliderMin + 0.6 * *input.sliderMax, input.key);
  }
  return filter;
}

// Premultiplied light of every sample; the upper left one first.
std::vector<float> light(const CIImage& image, double pitch) {
  const auto bytes =
      rendered(image, kAll, rgbaFloat(0, 0), {}, pitch, nullptr, ColorSpace::named("linear sRGB"));
  const auto* samples = reinterpret_cast<const float*>(bytes.data());
  return {samples, samples + bytes.size() / sizeof(float)};
}

// The mean light of squares of `factor` x `factor` pixels.
std::vector<float> scaledDown(const std::vector<float>& pixels, int factor) {
  const int n = kSide / factor;
  std::vector<float> means(static_cast<size_t>(n * n * 4));
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x)
      for (int c = 0; c < 4; ++c)
        means[static_cast<size_t>((y / factor * n + x / factor) * 4 + c)] +=
            pixels[static_cast<size_t>((y * kSide + x) * 4 + c)] / static_cast<float>(factor * factor);
  return means;
}

// As the eye and an 8-bit file see light.
double encoded(float v) { return sRGBEncode(std::clamp(v, 0.0f, 1.0f)); }

// Decibels that the mean squared difference lies below full scale.
double likeness(const std::vector<float>& a, const std::vector<float>& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += std::pow(encoded(a[i]) - encoded(b[i]), 2);
  return 10 * std::log10(static_cast<double>(a.size()) / std::max(sum, 1e-9));
}

class PitchTest : public ::testing::TestWithParam<std::string> {};

TEST_P(PitchTest, CoarseSamplesLookLikeThePictureScaledDown) {
  // A step lies beside the one of the full size by up to a sample.
  const double least = CIFilter::attributesForFilterName(GetParam())->stepped ? 22 : 34;
  const CIImage image = filterOnSoftImages(GetParam())->outputImage();
  const auto fine = light(image, 1);
  for (const int pitch : {2, 3, 4}) {
    EXPECT_GE(likeness(scaledDown(fine, pitch), light(image, pitch)), least) << pitch;
  }
}

// Cells smaller than a sample come out as their mean, not as moire.
TEST(PitchTest, PatternsAreAveragedOverEachSample) {
  for (const char* name : {"CICheckerboardGenerator", "CIStripesGenerator"})
    for (const double width : {1.0, 1.7, 3.3, 13.0}) {
      const auto filter = CIFilter::filterWithName(name);
      filter->setDefaults();
      filter->setValueForKey(CIVector{7.3, 4.9}, "inputCenter");
      filter->setValueForKey(width, "inputWidth");
      const auto fine = scaledDown(light(filter->outputImage(), 1), 4),
                 coarse = light(filter->outputImage(), 4);
      for (size_t i = 0; i < fine.size(); ++i) ASSERT_NEAR(fine[i], coarse[i], 1e-4) << name << " " << width;
    }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, PitchTest, ::testing::ValuesIn(builtInFilters()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace vello
