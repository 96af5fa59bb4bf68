// Filters that read far of what is costly to compute: it is computed once, and the result is the same.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/child_process.h"
#include "tests/engine/filtered.h"
#include "tests/engine/render/probe_kernels.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::filtered;
using testing::picture;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

constexpr int kWidth = 210, kHeight = 165;
const CGRect kFrame{{-7, 3}, {kWidth, kHeight}};

CIImage softened(const CIImage& image) {
  return filtered(filtered(image, "CIMedianFilter"), "CIMotionBlur",
                  {{"inputRadius", 12.0}, {"inputAngle", 0.6}});
}
CIImage twirled(const CIImage& image, double angle = 5) {
  return filtered(image, "CITwirlDistortion",
                  {{"inputCenter", CIVector{100, 80}}, {"inputRadius", 150.0}, {"inputAngle", angle}});
}

struct Recipe {
  const char* name;
  CIImage (*make)();
  int kept;
};
void PrintTo(const Recipe& recipe, std::ostream* out) { *out << recipe.name; }

const Recipe kRecipes[] = {
    {"twirl", [] { return twirled(softened(picture(kWidth, kHeight))); }, 1},
    {"twirl_over_what_it_turns",
     [] {
       const CIImage soft = softened(picture(kWidth, kHeight));
       return filtered(twirled(soft), "CIMultiplyCompositing",
                       {{"inputBackgroundImage", filtered(soft, "CIMotionBlur", {{"inputRadius", 5.0}})}});
     },
     1},
    {"twirls_of_twirls", [] { return twirled(softened(twirled(softened(picture(kWidth, kHeight)))), -3); },
     2},
    {"two_ways_of_one",
     [] {
       const CIImage soft = softened(picture(kWidth, kHeight));
       return filtered(twirled(soft), "CIMaximumCompositing", {{"inputBackgroundImage", twirled(soft, -4)}});
     },
     1},
    {"pages",
     [] {
       const CIImage soft = softened(picture(kWidth, kHeight));
       return applyKernel(taps<probes::PageTurn, 2, 3>(), {}, {soft, soft, twirled(soft)});
     },
     2},
    {"wide_blur_over_what_it_blurs",
     [] {
       const CIImage levels = filtered(picture(kWidth, kHeight), "CIColorPosterize", {{"inputLevels", 5.24}});
       const CIImage blurred =
           filtered(filtered(levels, "CIColorMonochrome"), "CIGaussianBlur", {{"inputRadius", 24.0}});
       return filtered(blurred, "CISourceOverCompositing", {{"inputBackgroundImage", levels}});
     },
     1},
};

class KeptStepsTest : public ::testing::TestWithParam<Recipe> {};

int countOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

RenderPlan planned(const CIImage& image, const ContextOptions& options) {
  RenderPlan plan;
  EXPECT_EQ(CIContext(options).explain({image, kFrame, 1, {}}, plan), "");
  return plan;
}

TEST_P(KeptStepsTest, GiveTheBytesOfOneTileWhereverTheyAreKept) {
  const CIImage image = GetParam().make();
  ContextOptions oneTile;
  oneTile.tileSide = 4096;
  ASSERT_EQ(countOf(planned(image, oneTile).text, "computed first"), 0);
  const auto expected = rendered(image, kFrame, rgbaFloat(0, 0), oneTile);
  ASSERT_FALSE(expected.empty());
  struct Way {
    int side, threads;
    int64_t store;
  };
  for (const Way& way : {Way{24, 1, 1}, Way{50, 3, 10 << 10}, Way{64, 2, 0}}) {
    ContextOptions options;
    options.tileSide = way.side;
    options.threads = way.threads;
    options.storeLimit = way.store;
    const std::string plan = planned(image, options).text;
    const int inMemory = countOf(plan, " 0 MB of them in a temporary file");
    EXPECT_EQ(countOf(plan, "computed first"), GetParam().kept) << plan;
    EXPECT_EQ(inMemory == GetParam().kept, way.store == 0) << plan;
    EXPECT_TRUE(rendered(image, kFrame, rgbaFloat(0, 0), options) == expected) << way.side;
  }
}

TEST_P(KeptStepsTest, HoldWhatThePlanForetold) {
  const CIImage image = GetParam().make();
  for (const int side : {32, 4096})
    for (const int threads : {1, 3}) {
      ContextOptions options;
      options.tileSide = side;
      options.threads = threads;
      RenderStatistics statistics;
      std::string error;
      CIContext(options).createBitmap({image, kFrame, 1, {}}, rgba8(0, 0), ColorSpace::sRGB(), &error,
                                      &statistics);
      const double foretold = planned(image, options).predictedBytes;
      EXPECT_GE(foretold, static_cast<double>(statistics.peakBytes)) << side << ' ' << threads;
      EXPECT_LE(foretold, 3.0 * static_cast<double>(statistics.peakBytes)) << side << ' ' << threads;
    }
}

INSTANTIATE_TEST_SUITE_P(Recipes, KeptStepsTest, ::testing::ValuesIn(kRecipes),
                         [](const auto& row) { return std::string(row.param.name); });

ContextOptions smallTiles(int64_t store) {
  ContextOptions options;
  options.tileSide = 32;
  options.storeLimit = store;
  return options;
}

TEST(KeptSteps, InBandsAreReadAsInOnePiece) {
  const CIImage image = twirled(softened(picture(kWidth, kHeight)));
  const auto expected = rendered(image, kFrame, rgba8(0, 0), smallTiles(0));
  std::vector<uint8_t> bytes;
  const BandCallbacks callbacks{
      [](const std::vector<SourceRows>&) { return std::string(); },
      [&](int64_t, int64_t rows, const std::vector<uint8_t>& band, int64_t bytesPerRow) {
        bytes.insert(bytes.end(), band.begin(), band.begin() + rows * bytesPerRow);
        return std::string();
      }};
  EXPECT_EQ(CIContext(smallTiles(1))
                .renderBands({image, kFrame, 1, {}}, rgba8(0, 0), ColorSpace::sRGB(), callbacks),
            "");
  EXPECT_TRUE(bytes == expected);
}

TEST(KeptSteps, CountInTheProgressAndStopWhenAbandoned) {
  const CIImage image = twirled(softened(picture(kWidth, kHeight)));
  for (const double last : {0.1, 0.9, 2.0}) {
    std::vector<double> told;
    std::string error;
    CIContext(smallTiles(1))
        .createBitmap({image, kFrame, 1,
                       [&](double share) {
                         told.push_back(share);
                         return share < last;
                       }},
                      rgba8(0, 0), ColorSpace::sRGB(), &error);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(error.empty(), last > 1) << error;
    EXPECT_TRUE(last < 1 || told.back() > 1 - 1e-9);
    // Kept samples are most of the work, so an end before their end is seen there.
    EXPECT_TRUE(last > 0.5 || told.back() < 0.3) << told.back();
  }
}

TEST(KeptSteps, SayWhatRoomIsMissing) {
  const auto run = testing::runInChild({}, [] {
    setenv("TMPDIR", "/nowhere/at/all", 1);
    std::string error;
    rendered(twirled(softened(picture(kWidth, kHeight))), kFrame, rgba8(0, 0), smallTiles(1), 1, &error);
    printf("%s", error.c_str());
    return 0;
  });
  EXPECT_NE(run.output.find("needs 1 MB of temporary space in /nowhere/at/all"), run.output.npos)
      << run.output;
}

}  // namespace
}  // namespace vello
