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

constexpr int kWidth = 448, kHeight = 320;
constexpr CGRect kAll{{0, 0}, {kWidth, kHeight}};
constexpr double kLikeness = 34;  // decibels

PitchClass classOf(const std::string& filter) { return findFilter(filter)->row->pitchClass; }

// Premultiplied light of every sample as a file can hold it; the upper left one first.
std::vector<float> light(const CIImage& image, double pitch, const CGRect& rect = kAll) {
  PixelLayout layout = rgba8(0, 0);
  layout.bitsPerComponent = 16;
  const auto bytes = rendered(image, rect, layout, {}, pitch, nullptr, ColorSpace::named("linear sRGB"));
  std::vector<float> found;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    found.push_back(static_cast<float>(bytes[i] + 256 * bytes[i + 1]) / 65535);
  return found;
}

// The finished picture in squares of `factor` x `factor` pixels, and the mean light of each.
std::vector<float> scaledDown(const CIImage& image, int factor) {
  const int across = (kWidth + factor - 1) / factor, down = (kHeight + factor - 1) / factor;
  const int width = across * factor, height = down * factor;
  const auto pixels = light(image, 1, {{0, 1.0 * kHeight - height}, {1.0 * width, 1.0 * height}});
  std::vector<float> means(static_cast<size_t>(across * down * 4));
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < 4; ++c)
        means[static_cast<size_t>((y / factor * across + x / factor) * 4 + c)] +=
            pixels[static_cast<size_t>((y * width + x) * 4 + c)];
  for (float& mean : means) mean /= static_cast<float>(factor * factor);
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
  static void expectLike(const std::vector<CIImage>& images) {
    for (const bool middle : {false, true}) {
      const CIImage image = outputOf(GetParam(), images, middle);
      if (middle && image == outputOf(GetParam(), images, false)) continue;
      for (const int pitch : {2, 4, 8})
        EXPECT_GE(likeness(scaledDown(image, pitch), light(image, pitch)), kLikeness)
            << "pitch " << pitch << (middle ? ", sliders in the middle" : ", defaults");
    }
  }
};

TEST_P(PitchTest, PhotographsLookLikeThemselvesScaledDown) {
  const CIImage outside = testing::landscape(kWidth, kHeight), inside = testing::stillLife(kWidth, kHeight);
  expectLike({outside, inside});
  expectLike({inside, outside});
}

TEST_P(PitchTest, HardEdgesLookLikeThemselvesScaledDown) {
  expectLike({testing::chart(kWidth, kHeight), testing::landscape(kWidth, kHeight),
              testing::stillLife(kWidth, kHeight)});
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
  EXPECT_GE(likeness(scaledDown(image, 3), light(image, 3)), least);
}

// Settled samples are computed on finer ones: by any renderer, in any tiles.
TEST_P(PitchTest, EveryRendererSettlesOnTheSame) {
  const CIImage image = outputOf(GetParam(), {faded(1), faded(1.7), faded(2.4)}, false);
  const CGRect part{{35, 61}, {150, 110}};
  const auto settled = [&](const ContextOptions& options) {
    return rendered(image, part, rgba8(0, 0), options, 2.5);
  };
  const auto whole = settled({.tileSide = 512, .threads = 1});
  EXPECT_EQ(whole, settled({.tileSide = 13, .threads = 2}));
  EXPECT_EQ(whole, settled({.tileSide = 512, .instructionSet = InstructionSet::baseline}));
  const int allowed = CIFilter::attributesForFilterName(GetParam())->stepped ? 64 : 1;
  EXPECT_LE(testing::largestStep(whole, settled({.reference = true})), allowed);
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
    for (const int pitch : {2, 4, 8}) {
      const int across = kWidth / pitch;
      const auto wanted = blockMeans(scaledDown(filter->outputImage(), pitch), across),
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
