// Every kernel kind, rendered plainly and in tiles.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include "tests/engine/render/probe_kernels.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using namespace probes;
using testing::largestStep;
using testing::Noise;
using testing::picture;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

CIImage board() { return applyKernel(generate<Checkerboard>(), {}, {}); }
CIImage photo() { return picture(61, 47); }
CIImage other() { return picture(40, 70, true, 5); }
CIImage by(const KernelOps* ops, std::vector<CIImage> images) {
  return applyKernel(ops, {}, std::move(images));
}

struct Probe {
  const char* name;
  CIImage (*make)();
  double size;  // of the rendered rectangle
};

const Probe kProbes[] = {
    {"exposure", [] { return by(point<Exposure>(), {photo()}); }, 50},
    {"straight_straight", [] { return by(point<Contrast>(), {by(point<Contrast>(), {photo()})}); }, 50},
    {"halftone", [] { return by(point<Halftone>(), {photo()}); }, 50},
    {"blend_with_mask",
     [] {
       return by(blend<MaskBlend, 3>(), {photo(), other(), board()});
     },
     70},
    {"checkerboard", [] { return board(); }, 60},
    {"twirl_of_source", [] { return by(warp<Twirl>(), {photo()}); }, 60},
    {"twirl_of_blur", [] { return by(warp<Twirl>(), {by(separable<Gaussian<20>>(), {photo()})}); }, 60},
    {"displacement",
     [] {
       return by(taps<Displacement, 1>(), {other(), photo()});
     },
     60},
    {"fourfold_tile_of_infinite", [] { return by(warp<FourfoldTile>(), {board()}); }, 60},
    {"page_turn",
     [] {
       return by(taps<PageTurn, 2, 3>(), {board(), photo(), by(point<Exposure>(), {other()})});
     },
     60},
    {"gaussian_half", [] { return by(separable<Gaussian<5>>(), {photo()}); }, 60},
    {"gaussian_60", [] { return by(separable<Gaussian<600>>(), {photo()}); }, 90},
    {"gaussian_60_of_infinite", [] { return by(separable<Gaussian<600>>(), {board()}); }, 40},
    {"disc_100", [] { return by(area<Disc<100>>(), {photo()}); }, 16},
    {"disc_3", [] { return by(area<Disc<3>>(), {by(point<Contrast>(), {photo()})}); }, 50},
    {"motion", [] { return by(line<Motion>(), {photo()}); }, 60},
    {"lanczos", [] { return by(resample<Lanczos>(), {photo()}); }, 40},
    {"otsu",
     [] {
       return by(point<Threshold, 2>(), {photo(), by(reduce<OtsuThreshold>(), {photo()})});
     },
     50},
    {"color_map",
     [] {
       return by(blend<ColorMap>(), {photo(), crop(other(), {{0, 0}, {40, 1}})});
     },
     50},
    {"raster", [] { return by(raster<DrawnDisc>(), {}); }, 20},
    {"frame", [] { return by(frame<SwapFrame>(), {by(point<Exposure>(), {photo()})}); }, 50},
    {"affine_of_affine",
     [] {
       return affine(affine(photo(), {0.9, 0.3, -0.3, 0.9, 5, 2}), {1.4, 0, 0, 0.6, 0, 3});
     },
     70},
    {"affine_of_blur",
     [] {
       return affine(by(separable<Gaussian<20>>(), {photo()}), {0.3, 0.1, -0.1, 0.3, 5, 2});
     },
     30},
    {"clamp_crop_blur",
     [] {
       return by(separable<Gaussian<60>>(),
                 {clampEdges(crop(photo(), {{4, 5}, {31, 22}}), {{4, 5}, {31, 22}})});
     },
     50},
    {"fractional_crop",
     [] {
       return crop(by(point<Exposure>(), {photo()}), {{3.25, 4.5}, {20.5, 11.1}});
     },
     40},
};

class ProbeTest : public ::testing::TestWithParam<Probe> {};

constexpr double kPitches[] = {0.5, 1, 3.75};

TEST_P(ProbeTest, TilesHaveTheSameBitsAndMatchThePlainRenderer) {
  const Probe& probe = GetParam();
  const CIImage image = probe.make();
  Noise noise;
  for (double pitch : kPitches) {
    SCOPED_TRACE(pitch);
    const CGRect rect{{std::floor(-7 / pitch) * pitch, std::floor(-5 / pitch) * pitch},
                      {probe.size, probe.size * 0.7}};
    const auto size = [&](double s) { return static_cast<int64_t>(std::ceil(s / pitch - 1e-6)); };
    const PixelLayout exact = rgbaFloat(size(rect.size.width), size(rect.size.height));
    const PixelLayout bytes = rgba8(exact.width, exact.height);
    std::string error;
    const auto whole = rendered(image, rect, exact, {.tileSide = 4096}, pitch, &error);
    ASSERT_EQ(error, "");
    for (int trial = 0; trial < 3; ++trial) {
      const unsigned saved = _mm_getcsr();
      _mm_setcsr((saved & ~0xE000u) |
                 (trial == 1 ? 0x6000u : 0x8040u));  // odd rounding, or flushed denormals
      const auto tiled = rendered(image, rect, exact, {.tileSide = 5 + noise.below(30)}, pitch);
      _mm_setcsr(saved);
      EXPECT_TRUE(tiled == whole) << "other bits in tiles";
    }
    EXPECT_LE(largestStep(rendered(image, rect, bytes, {}, pitch),
                          rendered(image, rect, bytes, {.reference = true}, pitch)),
              1);
  }
}

TEST_P(ProbeTest, APartIsThePartOfTheWhole) {
  const CIImage image = GetParam().make();
  const auto whole = rendered(image, {{-8, -8}, {48, 40}}, rgba8(48, 40), {});
  const auto part = rendered(image, {{3, 2}, {11, 9}}, rgba8(11, 9), {});
  ASSERT_EQ(part.size(), 11u * 9 * 4);
  for (int row = 0; row < 9; ++row)
    for (int k = 0; k < 44; ++k)
      ASSERT_EQ(part[static_cast<size_t>(row * 44 + k)],
                whole[static_cast<size_t>((40 - (2 + 8) - 9 + row) * 192 + 11 * 4 + k)]);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ProbeTest, ::testing::ValuesIn(kProbes),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace vello
