#include "engine/render/texel_pyramid.h"

#include <gtest/gtest.h>

#include <thread>

#include "engine/render/render_cache.h"
#include "engine/render/texel_source.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::picture;
using testing::rgba8;

Bitmap bitmapOf(int width, int height) { return *picture(width, height).sourceBitmap(); }

// The mean light of the texels that exist below one of a level, as the level's bitmap keeps it.
std::array<double, 4> meanOf(const PixelReader& reader, int level, int64_t i, int64_t j) {
  const int64_t side = int64_t{1} << level, width = reader.bitmap().width(),
                height = reader.bitmap().height();
  std::array<double, 4> sum{};
  double count = 0;
  for (int64_t y = j * side; y < std::min(height, (j + 1) * side); ++y)
    for (int64_t x = i * side; x < std::min(width, (i + 1) * side); ++x, ++count) {
      float c[4];
      reader.readLinear(height - 1 - y, x, 1, {&c[0], &c[1], &c[2], &c[3]});
      for (size_t k = 0; k < 4; ++k) sum[k] += static_cast<double>(c[k]);
    }
  for (double& v : sum) v /= count;
  return sum;
}

TEST(TexelPyramidTest, LevelsAreMeansOfTheTexelsThatExist) {
  for (const auto& [width, height] : {std::pair{64, 64}, {1100, 37}, {5, 301}, {1, 1}, {67, 70}}) {
    TexelPyramid pyramid(bitmapOf(width, height));
    const PixelReader source(pyramid.source());
    EXPECT_EQ(
        std::max(pyramid.level(pyramid.levels() - 1).width(), pyramid.level(pyramid.levels() - 1).height()),
        1);
    for (int level = pyramid.levels() - 1; level >= TexelPyramid::kLowestLevel; --level) {
      const Bitmap& kept = pyramid.level(level);
      const PixelReader reader(kept);
      for (int64_t j = 0; j < kept.height(); ++j) {
        pyramid.need(level, j, 0, kept.width());
        for (int64_t i = 0; i < kept.width(); ++i) {
          const auto mean = meanOf(source, level, i, j);
          const double alpha = mean[3] > 0 ? mean[3] : 1;
          const uint8_t* found = kept.row(kept.height() - 1 - j) + 4 * i;
          // Levels are made of rounded ones: a step and a half at most.
          for (size_t k = 0; k < 3; ++k)
            ASSERT_NEAR(found[k], 255 * alpha * sRGBEncode(mean[k] / alpha), 2)
                << width << " level " << level;
          ASSERT_NEAR(found[3], 255 * mean[3], 2) << width << " level " << level;
        }
      }
    }
  }
}

TEST(TexelPyramidTest, KeepsTheDepthAndTheLightOfItsSource) {
  // Two texels, one brighter than white.
  PixelLayout layout = testing::rgbaFloat(2, 1);
  std::vector<uint8_t> bytes(32);
  const float colors[] = {3, 0, 0.5f, 1, 1, 0.25f, 0, 1};
  std::memcpy(bytes.data(), colors, sizeof colors);
  TexelPyramid pyramid(Bitmap(layout, ColorSpace::named("linear sRGB"), Data(std::move(bytes))));
  pyramid.need(2, 0, 0, 1);
  float c[4];
  PixelReader(pyramid.level(2)).readLinear(0, 0, 1, {&c[0], &c[1], &c[2], &c[3]});
  EXPECT_NEAR(c[0], 2, 1e-5);
  EXPECT_NEAR(c[1], 0.125, 1e-5);
  EXPECT_NEAR(c[2], 0.25, 1e-5);
}

TEST(TexelPyramidTest, ThreadsReadTheSameTexels) {
  const Bitmap source = bitmapOf(3000, 300);
  TexelPyramid alone(source), shared(source);
  const Bitmap &expected = alone.level(3), &found = shared.level(3);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&] {
      for (int64_t j = 0; j < found.height(); ++j) shared.need(3, j, 0, found.width());
    });
  for (std::thread& thread : threads) thread.join();
  for (int64_t j = 0; j < found.height(); ++j) {
    alone.need(3, j, 0, expected.width());
    const int64_t row = found.height() - 1 - j;
    EXPECT_TRUE(std::equal(expected.row(row), expected.row(row) + 4 * expected.width(), found.row(row))) << j;
  }
}

TEST(TexelPyramidTest, ASessionKeepsOneOfEverySource) {
  RenderCache cache(100'000);
  const Bitmap one = bitmapOf(400, 300), other = bitmapOf(400, 300), large = bitmapOf(2000, 1000);
  const auto first = cache.pyramidOf(one);
  EXPECT_NE(cache.pyramidOf(other), first);
  EXPECT_EQ(cache.pyramidOf(one), first);
  ASSERT_NE(cache.pyramidOf(large), nullptr);  // too large to be kept
  for (const Bitmap& each : {bitmapOf(400, 300), bitmapOf(400, 300), bitmapOf(400, 300)})
    cache.pyramidOf(each);
  EXPECT_NE(cache.pyramidOf(one), first);
}

// A picture of which nothing is read again, shown ever smaller.
TEST(TexelPyramidTest, ShownSmallAPictureLooksAsWithoutIt) {
  const CIImage image = picture(640, 480);
  const auto cache = std::make_shared<RenderCache>();
  ContextOptions session;
  session.cache = cache;
  for (const double pitch : {4.0, 6.3, 9.0, 40.0}) {
    const auto size = [&](int pixels) { return static_cast<int64_t>(std::ceil(pixels / pitch)); };
    const CGRect all{{0, 0}, {640, 480}};
    EXPECT_LE(testing::largestStep(testing::rendered(image, all, rgba8(size(640), size(480)), session, pitch),
                                   testing::rendered(image, all, rgba8(size(640), size(480)), {}, pitch)),
              2)
        << pitch;
  }
}

}  // namespace
}  // namespace vello
