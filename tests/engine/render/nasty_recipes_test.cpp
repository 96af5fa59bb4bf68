// Recipes that nobody means well with: each is rendered or refused, in the memory that was allowed.
#include <gtest/gtest.h>

#include "tests/child_process.h"
#include "tests/engine/filtered.h"
#include "tests/engine/render/probe_kernels.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::filtered;
using testing::kSanitized;
using testing::picture;
using testing::rgba8;

CIImage over(const CIImage& image, const CIImage& background, const char* name = "CISourceOverCompositing") {
  return filtered(image, name, {{"inputBackgroundImage", background}});
}

template <class Next>
CIImage times(int count, CIImage image, Next next) {
  for (int k = 0; k < count; ++k) image = next(image, k);
  return image;
}

constexpr int kWidth = 400, kHeight = 300;
CIImage photo() { return picture(kWidth, kHeight); }
CIImage board() { return filtered({}, "CICheckerboardGenerator", {{"inputWidth", 7.0}}); }
CIImage blurred(const CIImage& image, double radius) {
  return filtered(image, "CIGaussianBlur", {{"inputRadius", radius}});
}
CIImage twirled(const CIImage& image, double angle = 2, double radius = 250) {
  return filtered(image, "CITwirlDistortion", {{"inputAngle", angle}, {"inputRadius", radius}});
}
CIImage lighter(const CIImage& image) { return filtered(image, "CIExposureAdjust", {{"inputEV", 0.1}}); }
CIImage moved(const CIImage& image, const CGAffineTransform& t) {
  return filtered(image, "CIAffineTransform", {{"inputTransform", t}});
}
CIImage tiled(const CIImage& image, const CGAffineTransform& t = {}) {
  return filtered(image, "CIAffineTile", {{"inputTransform", t}});
}
CIImage cropped(const CIImage& image, double x, double y, double w, double h) {
  return filtered(image, "CICrop", {{"inputRectangle", CIVector{x, y, w, h}}});
}
CIImage pageTurned(const CIImage& image) {
  return applyKernel(taps<probes::PageTurn, 2, 3>(), {}, {image, image, lighter(image)});
}

const CGRect kFrame{{0, 0}, {kWidth, kHeight}};

struct Nasty {
  const char* name;
  CIImage (*make)();
  bool mustRender = false;
  CGRect rect = kFrame;
  double pitch = 1;
};

void PrintTo(const Nasty& nasty, std::ostream* out) { *out << nasty.name; }

const Nasty kNasty[] = {
    {"plain", [] { return lighter(photo()); }, true},
    {"gaussian_1e5", [] { return blurred(photo(), 1e5); }},
    {"gaussian_1e30", [] { return blurred(photo(), 1e30); }},
    {"gaussian_1e5_of_endless", [] { return blurred(board(), 1e5); }},
    {"box_1e5",
     [] {
       return filtered(photo(), "CIBoxBlur", {{"inputRadius", 1e5}});
     }},
    {"motion_1e5_slanted",
     [] {
       return filtered(photo(), "CIMotionBlur", {{"inputRadius", 1e5}, {"inputAngle", 0.7}});
     }},
    {"ten_motion_blurs_all_ways",
     [] {
       return times(10, photo(), [](const CIImage& i, int k) {
         return filtered(i, "CIMotionBlur", {{"inputRadius", 60.0}, {"inputAngle", 0.3 * k}});
       });
     }},
    {"unsharp_1e5",
     [] {
       return filtered(photo(), "CIUnsharpMask", {{"inputRadius", 1e5}});
     }},
    {"bloom_1e5_of_endless",
     [] {
       return filtered(board(), "CIBloom", {{"inputRadius", 1e5}});
     }},
    {"ten_blurs_between_twirls",
     [] { return times(10, photo(), [](const CIImage& i, int) { return twirled(blurred(i, 20)); }); }},
    {"998_twirls",
     [] {
       return times(998, photo(), [](const CIImage& i, int k) { return twirled(i, 0.01 * (k + 1), 90); });
     }},
    {"999_blurs_of_10",
     [] { return times(999, photo(), [](const CIImage& i, int) { return blurred(i, 10); }); }},
    {"999_blurs_of_a_tenth",
     [] { return times(999, photo(), [](const CIImage& i, int) { return blurred(i, 0.1); }); }},
    {"999_colour_filters",
     [] {
       return times(999, photo(), [](const CIImage& i, int k) {
         return k % 2 ? filtered(i, "CIColorInvert") : lighter(i);
       });
     },
     true},
    {"tile_of_one_pixel",
     [] {
       return tiled(picture(1, 1), {1e-3, 0, 0, 1e-3, 0, 0});
     }},
    {"tile_of_huge_blur", [] { return tiled(blurred(photo(), 3e4)); }},
    {"kaleidoscope_of_endless",
     [] {
       return times(12, board(), [](const CIImage& i, int k) {
         return tiled(cropped(moved(i, {0.8, 0.6, -0.6, 0.8, 3.0 * k, 7}), -30, -20, 61, 47),
                      {0.6, 0.8, -0.8, 0.6, 5, 1});
       });
     }},
    {"tiles_of_blurs_of_tiles",
     [] {
       return times(6, photo(), [](const CIImage& i, int) {
         return cropped(tiled(blurred(i, 30), {0.7, 0.1, -0.1, 0.7, 0, 0}), 0, 0, 400, 300);
       });
     }},
    {"shrunk_to_a_millionth",
     [] {
       return moved(photo(), {1e-6, 0, 0, 1e-6, 200, 150});
     },
     true},
    {"grown_a_million_times",
     [] {
       return moved(photo(), {1e6, 0, 0, 1e6, -2e8, -1.5e8});
     },
     true},
    {"grown_and_shrunk_by_turns",
     [] {
       return times(20, photo(), [](const CIImage& i, int k) {
         const double s = k % 2 ? 1e-6 : 1e6;
         return lighter(moved(i, {s, 0, 0, s, 0, 0}));
       });
     }},
    {"shrunk_and_grown_by_turns",
     [] {
       return times(20, photo(), [](const CIImage& i, int k) {
         const double s = k % 2 ? 1e6 : 1e-6;
         return lighter(moved(i, {s, 0, 0, s, 0, 0}));
       });
     }},
    {"a_millionth_blurred",
     [] {
       return blurred(moved(photo(), {1e-6, 0, 0, 1e-6, 200, 150}), 50);
     }},
    {"blurred_then_a_millionth",
     [] {
       return moved(blurred(photo(), 50), {1e-6, 0, 0, 1e-6, 200, 150});
     }},
    {"endless_shrunk_to_a_millionth",
     [] {
       return moved(lighter(board()), {1e-6, 0, 0, 1e-6, 0, 0});
     }},
    {"endless_blur_shrunk",
     [] {
       return moved(blurred(board(), 40), {1e-3, 0, 0, 1e-3, 0, 0});
     }},
    {"slanted_a_million_times",
     [] {
       return moved(lighter(photo()), {1, 0, 1e6, 1, 0, 0});
     }},
    {"almost_flat",
     [] {
       return moved(lighter(photo()), {1, 1, 1, 1 + 1e-12, 0, 0});
     }},
    {"turned_fifty_times",
     [] {
       return times(50, photo(), [](const CIImage& i, int) {
         return lighter(moved(i, {M_SQRT1_2, M_SQRT1_2, -M_SQRT1_2, M_SQRT1_2, 10, 10}));
       });
     }},
    {"far_away_and_back",
     [] {
       return moved(lighter(moved(photo(), {1, 0, 0, 1, 1e15, 1e15})), {1, 0, 0, 1, -1e15, -1e15});
     }},
    {"crop_of_nothing", [] { return cropped(photo(), 50, 50, 0, 0); }},
    {"crop_beside_clamped_and_blurred",
     [] { return blurred(cropped(photo(), 1e6, 1e6, 10, 10).imageByClampingToExtent(), 20); }},
    {"clamped_pixel_far_away",
     [] {
       return blurred(moved(picture(1, 1), {1, 0, 0, 1, 1e7, 1e7}).imageByClampingToExtent(), 1e4);
     }},
    {"hundred_clamps",
     [] {
       return times(100, photo(), [](const CIImage& i, int k) {
         return filtered(lighter(i), "CIClamp", {{"inputExtent", CIVector{0.5 * k, 0, 300, 200}}});
       });
     }},
    {"cells_of_a_million",
     [] {
       return filtered(blurred(photo(), 100), "CIPixellate", {{"inputScale", 1e6}});
     }},
    {"hundred_cells",
     [] {
       return times(100, photo(), [](const CIImage& i, int k) {
         return filtered(i, "CIPixellate", {{"inputScale", 1.0 + k}});
       });
     }},
    {"bump_out_of_all_bounds",
     [] {
       return filtered(blurred(photo(), 5), "CIBumpDistortion",
                       {{"inputScale", -100.0}, {"inputRadius", 1e6}});
     }},
    {"twirl_of_a_thousand_turns_of_endless", [] { return twirled(blurred(board(), 3), 1e3, 1e6); }},
    {"64_times_over_itself",
     [] { return times(64, photo(), [](const CIImage& i, int) { return over(i, i); }); }, true},
    {"thirty_blurs_over_what_they_blur",
     [] { return times(30, photo(), [](const CIImage& i, int) { return over(blurred(i, 9), i); }); }},
    {"twelve_twirls_over_what_they_turn",
     [] {
       return times(12, photo(),
                    [](const CIImage& i, int) { return over(twirled(i), i, "CIMultiplyCompositing"); });
     }},
    {"forty_masks_of_masks",
     [] {
       return times(40, photo(), [](const CIImage& i, int k) {
         return filtered(i, "CIBlendWithMask",
                         {{"inputBackgroundImage", twirled(i, 0.1 * k)}, {"inputMaskImage", blurred(i, 2)}});
       });
     }},
    {"three_hundred_gradients",
     [] {
       return times(300, photo(), [](const CIImage& i, int k) {
         return over(filtered({}, "CIRadialGradient", {{"inputRadius0", 1.0 * k}, {"inputRadius1", 1e30}}), i,
                     "CIScreenBlendMode");
       });
     },
     true},
    {"eight_pages_turned",
     [] { return times(8, photo(), [](const CIImage& i, int) { return pageTurned(i); }); }},
    {"pages_of_endless", [] { return pageTurned(pageTurned(blurred(board(), 4))); }},
    {"whole_globe_at_once", [] { return blurred(photo(), 10); }, true, {{-1e9, -1e9}, {2e9, 2e9}}, 1e7},
    {"endless_globe_at_once",
     [] { return twirled(blurred(board(), 10)); },
     false,
     {{-1e9, -1e9}, {2e9, 2e9}},
     1e7},
    {"under_the_microscope",
     [] { return twirled(blurred(photo(), 10)); },
     false,
     {{200, 150}, {0.4, 0.3}},
     1e-3},
    {"a_billion_units_out",
     [] { return blurred(tiled(photo()), 10); },
     false,
     {{1e9 + 0.3, -1e9}, {400, 300}}},
};

constexpr int64_t kMostBytes = int64_t{128} << 20;
constexpr int64_t kSlack = int64_t{24} << 20;  // code, threads and what the allocator keeps
constexpr long kBeyondMegabytes = 700;  // of address space: every thread reserves some that it never uses

// What the process held at most so far.
int64_t residentPeak() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return int64_t{usage.ru_maxrss} * 1024;
}

// One word, what the plan foretold, what the render counted, what it took, and the error.
int renderAndTell(const Nasty& nasty) {
  const CIImage image = nasty.make();
  const int64_t before = residentPeak();
  std::string error;
  RenderStatistics statistics;
  ContextOptions options;
  options.memoryLimit = kMostBytes;
  const CIContext context(options);
  const RenderRequest request{image, nasty.rect, nasty.pitch, {}};
  const Bitmap bitmap = context.createBitmap(request, rgba8(0, 0), ColorSpace::sRGB(), &error, &statistics);
  RenderPlan plan;
  context.explain(request, plan);
  printf("%s %.0f %lld %lld %s\n", bitmap.empty() ? "refused" : "rendered", plan.predictedBytes,
         static_cast<long long>(statistics.peakBytes), static_cast<long long>(residentPeak() - before),
         error.c_str());
  return 0;
}

class NastyRecipesTest : public ::testing::TestWithParam<Nasty> {};

TEST_P(NastyRecipesTest, AreRenderedOrRefusedInTheMemoryTheyWereAllowed) {
  const Nasty& nasty = GetParam();
  testing::ChildLimits limits;
  limits.mostMegabytes = kMostBytes / (1 << 20) + kBeyondMegabytes;
  const auto run = testing::runInChild(limits, [&nasty] { return renderAndTell(nasty); });
  ASSERT_EQ(run.status, 0) << run.output;
  char word[16] = {}, error[200] = {};
  double foretold = 0;
  long long said = 0, took = 0;
  ASSERT_GE(sscanf(run.output.c_str(), "%15s %lf %lld %lld %199[^\n]", word, &foretold, &said, &took, error),
            4)
      << run.output;
  if (std::string(word) == "rendered") {
    EXPECT_GE(foretold, static_cast<double>(said));
    EXPECT_TRUE(kSanitized || took <= said + kSlack) << "said " << said << ", took " << took;
    return;
  }
  EXPECT_FALSE(nasty.mustRender) << error;
  // Found out beforehand, not when memory was gone.
  const std::string text = error;
  EXPECT_TRUE(text.find("the limit is") != text.npos || text.find("too long") != text.npos) << text;
  EXPECT_TRUE(kSanitized || took <= kMostBytes / 4) << "refused after taking " << took;
}

INSTANTIATE_TEST_SUITE_P(Recipes, NastyRecipesTest, ::testing::ValuesIn(kNasty),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace vello
