// Renders that share a cache: the same pictures, with less work.
#include "engine/render/render_cache.h"

#include <gtest/gtest.h>

#include <atomic>

#include "engine/filters/kinds.h"
#include "tests/engine/filtered.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::filtered;
using testing::picture;
using testing::rendered;
using testing::rgba8;

std::atomic<int> computed{0};

// Hands samples through, and counts them.
struct Counted {
  static constexpr bool kStraight = true;
  explicit Counted(const Values&) {}
  Px operator()(Px p) const {
    ++computed;
    return p;
  }
};

CIImage counted(const CIImage& image) { return applyKernel(point<Counted>(), {}, {image}); }

struct Frame {
  CGRect rect{{0, 0}, {90, 70}};
  double pitch = 1;
};

std::vector<uint8_t> drawn(const CIImage& image, const std::shared_ptr<RenderCache>& cache,
                           const Frame& frame = {}) {
  ContextOptions options;
  options.cache = cache;
  return rendered(image, frame.rect,
                  rgba8(static_cast<int64_t>(std::ceil(frame.rect.size.width / frame.pitch)),
                        static_cast<int64_t>(std::ceil(frame.rect.size.height / frame.pitch))),
                  options, frame.pitch);
}

class RenderCacheTest : public ::testing::Test {
 protected:
  CIImage blurred(double ev) {
    return counted(filtered(filtered(photo_, "CIExposureAdjust", {{"inputEV", ev}}), "CIGaussianBlur",
                            {{"inputRadius", 3.0}}));
  }
  static CIImage finished(const CIImage& image, double saturation, double radius) {
    return filtered(filtered(image, "CIColorControls", {{"inputSaturation", saturation}}), "CIGaussianBlur",
                    {{"inputRadius", radius}});
  }

  const CIImage photo_ = picture(90, 70);
  const std::shared_ptr<RenderCache> cache_ = std::make_shared<RenderCache>();
};

TEST_F(RenderCacheTest, WhatStaysTheSameIsComputedTwiceAtMost) {
  for (int k = 0; k < 6; ++k) {
    computed = 0;
    drawn(finished(blurred(0.5), 1 + 0.1 * k, 1), cache_);
    EXPECT_EQ(computed > 0, k < 2) << k;
  }
  computed = 0;
  drawn(finished(blurred(0.6), 1, 1), cache_);
  EXPECT_GT(computed, 0);
}

// The picture and its own blur are both read by what changes.
TEST_F(RenderCacheTest, WhatIsReadTwiceIsKeptForBoth) {
  for (int k = 0; k < 6; ++k) {
    computed = 0;
    drawn(filtered(blurred(0.5), "CIUnsharpMask", {{"inputIntensity", 0.3 + 0.1 * k}}), cache_);
    EXPECT_EQ(computed > 0, k < 2) << k;
  }
}

TEST_F(RenderCacheTest, PicturesAreTheSameWhateverWasRenderedBefore) {
  struct Step {
    double ev, saturation, radius;
    Frame frame;
  };
  const Step steps[] = {{0.5, 1.1, 1, {}},
                        {0.5, 1.2, 1, {}},
                        {0.5, 1.3, 1, {}},
                        {0.5, 1.3, 6, {}},  // reaches further than what is kept
                        {0.5, 1.3, 6, {{{-20, -10}, {130, 90}}}},
                        {0.5, 1.2, 6, {{{10, 5}, {40, 30}}}},
                        {0.5, 1.2, 6, {{{0, 0}, {90, 70}}, 2.5}},
                        {0.5, 1.2, 7, {{{0, 0}, {90, 70}}, 2.5}},
                        {0.5, 1.2, 8, {{{0, 0}, {90, 70}}, 2.5}},
                        {0.7, 1.2, 8, {}},
                        {0.5, 1.2, 8, {}}};
  for (size_t k = 0; k < std::size(steps); ++k) {
    const CIImage image = finished(blurred(steps[k].ev), steps[k].saturation, steps[k].radius);
    EXPECT_TRUE(drawn(image, cache_, steps[k].frame) == drawn(image, nullptr, steps[k].frame)) << k;
  }
}

TEST_F(RenderCacheTest, SamplesThatDoNotFitAreNotKept) {
  const auto small = std::make_shared<RenderCache>(1000);
  for (int k = 0; k < 4; ++k) {
    computed = 0;
    const CIImage image = finished(blurred(0.5), 1 + 0.1 * k, 1);
    EXPECT_TRUE(drawn(image, small) == drawn(image, nullptr));
    EXPECT_GT(computed, 0) << k;
  }
}

}  // namespace
}  // namespace vello
