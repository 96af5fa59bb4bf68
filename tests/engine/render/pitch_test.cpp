// Filters at coarser samples than the picture's: a preview must look like the finished picture, scaled down.
#include <gtest/gtest.h>

#include "engine/catalogue/registry.h"
#include "platform/color_space.h"
#include "tests/engine/filters/built_in.h"
#include "tests/engine/photo_pictures.h"

namespace vello {
namespace {

using testing::builtInFilters;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

constexpr int kWidth = 448, kHeight = 320;
constexpr CGRect kAll{{0, 0}, {kWidth, kHeight}};
constexpr double kLikeness = 34;  // decibels

// What falls short of kLikeness on photographs and on the chart, and why.
struct Shortfall {
  const char* filter;
  double photos, chart;
  const char* why;
};
constexpr Shortfall kShortfalls[] = {
    {"CIBoxBlur", kLikeness, 27, "its weights are averaged over the samples read, not over the one written"},
    {"CIBumpDistortion", kLikeness, 23, "edges are moved sample by sample, and magnified from coarse texels"},
    {"CIClamp", 28, 18, "the edge that is repeated is as coarse as the samples"},
    {"CIColorControls", 28, 20, "black and white clip the mean of what they would clip piece by piece"},
    {"CIColorMonochrome", kLikeness, 23, "its curve is applied to means"},
    {"CIColorPosterize", 24, 30, "a step is taken by means"},
    {"CIGammaAdjust", kLikeness, 23, "its curve is applied to means"},
    {"CIMaximumCompositing", kLikeness, 32, "means are compared"},
    {"CIMinimumCompositing", kLikeness, 28, "means are compared"},
    {"CIMorphologyGradient", 28, 18, "extremes of means are milder, and nothing else shows"},
    {"CIMorphologyMaximum", kLikeness, 26, "extremes of means are milder"},
    {"CIMorphologyMinimum", 28, 27, "extremes of means are milder"},
    {"CIPixellate", 22, 16, "a cell shows one sample, and its edges fall between samples"},
    {"CISepiaTone", kLikeness, 28, "its curve is applied to means"},
    {"CITwirlDistortion", 32, 22, "edges are moved sample by sample"},
    {"CIUnsharpMask", kLikeness, 24, "edges that shoot beyond white clip as means"},
    {"CIZoomBlur", kLikeness, 29, "what it enlarges of coarse samples is soft"},
};
// Samples of two pixels are interpolated between encoded texels, which dims edges.
constexpr double kChartAtTwo = 29;

double leastLikeness(const std::string& filter, bool chart, int pitch) {
  double least = chart && pitch == 2 ? kChartAtTwo : kLikeness;
  for (const Shortfall& s : kShortfalls)
    if (filter == s.filter) least = std::min(least, chart ? s.chart : s.photos);
  return least;
}

PitchClass classOf(const std::string& filter) { return findFilter(filter)->row->pitchClass; }

// Premultiplied light of every sample as a file can hold it; the upper left one first.
std::vector<float> light(const CIImage& image, double pitch) {
  const auto bytes =
      rendered(image, kAll, rgbaFloat(0, 0), {}, pitch, nullptr, ColorSpace::named("linear sRGB"));
  const auto* samples = reinterpret_cast<const float*>(bytes.data());
  std::vector<float> found(samples, samples + bytes.size() / sizeof(float));
  for (float& v : found) v = std::clamp(v, 0.0f, 1.0f);
  return found;
}

// The mean light of squares of `factor` x `factor` pixels; of what is left of them at the lower and right
// edge.
std::vector<float> scaledDown(const std::vector<float>& pixels, int factor) {
  const int across = (kWidth + factor - 1) / factor, down = (kHeight + factor - 1) / factor;
  std::vector<float> means(static_cast<size_t>(across * down * 4)), counts(means.size());
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      for (int c = 0; c < 4; ++c) {
        const auto at = static_cast<size_t>((y / factor * across + x / factor) * 4 + c);
        means[at] += pixels[static_cast<size_t>((y * kWidth + x) * 4 + c)];
        ++counts[at];
      }
  for (size_t i = 0; i < means.size(); ++i) means[i] /= counts[i];
  return means;
}

// As the eye and an 8-bit file see light.
double encoded(float v) { return sRGBEncode(std::min(v, 1.0f)); }

// Decibels that the mean squared difference lies below full scale.
double likeness(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size()) return 0;
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const double d = i % 4 == 3 ? a[i] - b[i] : encoded(a[i]) - encoded(b[i]);
    sum += d * d;
  }
  return 10 * std::log10(static_cast<double>(a.size()) / std::max(sum, 1e-9));
}

// The filter on the images, with its defaults or with every slider in the middle.
CIImage outputOf(const std::string& name, const std::vector<CIImage>& images, bool middle) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  size_t next = 0;
  for (const InputAttributes& input : filter->attributes().inputs) {
    if (input.className == "CIImage") filter->setValueForKey(images[next++ % images.size()], input.key);
    if (middle && input.sliderMin && input.sliderMax)
      filter->setValueForKey((*input.sliderMin + *input.sliderMax) / 2, input.key);
  }
  return filter->outputImage();
}

class PitchTest : public ::testing::TestWithParam<std::string> {
 protected:
  // What needs full-size samples is shown with samples of two pixels at rest.
  static std::vector<int> pitches() {
    return classOf(GetParam()) == PitchClass::fine ? std::vector<int>{2} : std::vector<int>{2, 4, 8};
  }

  static void expectLike(const std::vector<CIImage>& images, bool chart) {
    for (const bool middle : {false, true}) {
      const CIImage image = outputOf(GetParam(), images, middle);
      if (middle && image == outputOf(GetParam(), images, false)) continue;
      const auto full = light(image, 1);
      for (const int pitch : pitches())
        EXPECT_GE(likeness(scaledDown(full, pitch), light(image, pitch)),
                  leastLikeness(GetParam(), chart, pitch))
            << "pitch " << pitch << (middle ? ", sliders in the middle" : ", defaults");
    }
  }
};

TEST_P(PitchTest, PhotographsLookLikeThemselvesScaledDown) {
  const CIImage outside = testing::landscape(kWidth, kHeight), inside = testing::stillLife(kWidth, kHeight);
  expectLike({outside, inside}, false);
  expectLike({inside, outside}, false);
}

TEST_P(PitchTest, HardEdgesLookLikeThemselvesScaledDown) {
  expectLike({testing::chart(kWidth, kHeight), testing::landscape(kWidth, kHeight),
              testing::stillLife(kWidth, kHeight)},
             true);
}

// Soft forms without noise that fade out before the picture ends, premultiplied.
CIImage faded(double phase) {
  std::vector<uint8_t> bytes;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const double alpha = std::min(1.0, std::min({x, y, kWidth - 1 - x, kHeight - 1 - y}) / 24.0);
      for (int c = 0; c < 3; ++c) {
        const double form = std::sin(x * 0.031 + c + phase) * std::cos(y * 0.043 - c * phase);
        bytes.push_back(static_cast<uint8_t>(std::lround((128 + 110 * form) * alpha)));
      }
      bytes.push_back(static_cast<uint8_t>(std::lround(255 * alpha)));
    }
  return CIImage::imageWithBitmap(Bitmap(rgba8(kWidth, kHeight), ColorSpace::sRGB(), Data(std::move(bytes))));
}

TEST_P(PitchTest, FadedPicturesLookLikeThemselvesAtAnyPitch) {
  const double least = CIFilter::attributesForFilterName(GetParam())->stepped ? 20 : kLikeness;
  const CIImage image = outputOf(GetParam(), {faded(1), faded(1.7), faded(2.4)}, true);
  EXPECT_GE(likeness(scaledDown(light(image, 1), 3), light(image, 3)), least);
}

// The mean of 8 x 8 samples, in steps of 8 bit.
std::vector<double> blockMeans(const std::vector<float>& samples, int across) {
  const int down = static_cast<int>(samples.size()) / 4 / across;
  std::vector<double> means;
  for (int y = 0; y + 8 <= down; y += 8)
    for (int x = 0; x + 8 <= across; x += 8)
      for (int c = 0; c < 4; ++c) {
        double sum = 0;
        for (int k = 0; k < 64; ++k)
          sum += encoded(samples[static_cast<size_t>(((y + k / 8) * across + x + k % 8) * 4 + c)]);
        means.push_back(sum / 64 * 255);
      }
  return means;
}

TEST_P(PitchTest, PatternsKeepTheirMeans) {
  if (classOf(GetParam()) != PitchClass::pattern) return;
  for (const double width : {1.0, 1.7, 3.3, 13.0, 80.0}) {
    const auto filter = CIFilter::filterWithName(GetParam());
    filter->setDefaults();
    filter->setValueForKey(CIVector{7.3, 4.9}, "inputCenter");
    filter->setValueForKey(width, "inputWidth");
    const auto full = light(filter->outputImage(), 1);
    for (const int pitch : {2, 4, 8}) {
      const int across = kWidth / pitch;
      const auto wanted = blockMeans(scaledDown(full, pitch), across),
                 found = blockMeans(light(filter->outputImage(), pitch), across);
      ASSERT_EQ(wanted.size(), found.size());
      for (size_t i = 0; i < wanted.size(); ++i)
        ASSERT_NEAR(wanted[i], found[i], 2) << "width " << width << ", pitch " << pitch;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, PitchTest, ::testing::ValuesIn(builtInFilters()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace vello
