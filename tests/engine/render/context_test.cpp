// Rendering into bitmaps: where the pixels land, what is copied, what is refused.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <thread>

#include "tests/engine/filtered.h"
#include "tests/engine/render/probe_kernels.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::filtered;
using testing::largestStep;
using testing::Noise;
using testing::picture;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

CIImage exposed(const CIImage& image) { return applyKernel(point<probes::Exposure>(), {}, {image}); }

// Multiplies by one: the same pixels, through the colour path.
struct Same {
  explicit Same(const Values&) {}
  KERNEL Px operator()(Px p) const { return p; }
};
CIImage throughColour(const CIImage& image) { return applyKernel(point<Same>(), {}, {image}); }

TEST(ContextTest, RowsRunDownwardsAndTheRectangleSaysWhere) {
  std::vector<uint8_t> bytes;
  for (uint8_t v = 0; v < 6; ++v) bytes.insert(bytes.end(), {v, v, v, 255});
  const CIImage image = CIImage::imageWithBitmap(Bitmap(rgba8(2, 3), ColorSpace::sRGB(), Data(bytes)));
  EXPECT_EQ(rendered(image, {{0, 0}, {2, 3}}, rgba8(2, 3), {}), bytes);
  // The lower left pixel has a transparent one to its left and one below.
  const auto corner = rendered(image, {{-1, -1}, {2, 2}}, rgba8(2, 2), {});
  EXPECT_EQ(corner, (std::vector<uint8_t>{0, 0, 0, 0, 4, 4, 4, 255, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(ContextTest, UnchangedSourcesAreCopiedByteForByte) {
  Noise noise;
  std::vector<uint8_t> bytes(16 * 16 * 4);
  for (uint8_t& b : bytes)
    b = static_cast<uint8_t>(noise.below(256));  // colour above alpha, alpha 0 with colour
  const CIImage image = CIImage::imageWithBitmap(Bitmap(rgba8(16, 16), ColorSpace::sRGB(), Data(bytes)));
  EXPECT_EQ(rendered(unbounded(image), {{0, 0}, {16, 16}}, rgba8(16, 16), {}), bytes);
  EXPECT_EQ(rendered(throughColour(image), {{0, 0}, {16, 16}}, rgba8(16, 16), {}), bytes)
      << "through the colour path";
}

TEST(ContextTest, OtherSpacesConvertOnTheWayOut) {
  const CIImage image = picture(16, 16, false);
  const CGRect all{{0, 0}, {16, 16}};
  const auto direct =
      rendered(exposed(image), all, rgba8(16, 16), {}, 1, nullptr, ColorSpace::named("Display P3"));
  const auto forced =
      rendered(exposed(image), all, rgba8(16, 16), {.outputColorSpace = ColorSpace::named("Display P3")});
  EXPECT_EQ(direct, forced);
  EXPECT_GT(largestStep(direct, rendered(exposed(image), all, rgba8(16, 16), {})), 3);
  // Exposure does not care for primaries, so another working space gives the same picture.
  const auto wide =
      rendered(exposed(image), all, rgba8(16, 16), {.workingColorSpace = ColorSpace::named("Display P3")});
  EXPECT_LE(largestStep(wide, rendered(exposed(image), all, rgba8(16, 16), {})), 1);
}

TEST(ContextTest, AFractionalRectangleStartsAtItsUpperLeftCorner) {
  const CIImage image = picture(16, 16, false);
  const auto moved =
      rendered(affine(exposed(image), {1, 0, 0, 1, 0.25, 0.5}), {{0.25, 0.5}, {16, 16}}, rgba8(16, 16), {});
  EXPECT_LE(largestStep(moved, rendered(exposed(image), {{0, 0}, {16, 16}}, rgba8(16, 16), {})), 1);
}

TEST(ContextTest, WhatCannotBeRenderedIsAnError) {
  const CIImage blurred = applyKernel(separable<probes::Gaussian<600>>(), {},
                                      {applyKernel(generate<probes::Checkerboard>(), {}, {})});
  struct Row {
    const char* name;
    CIImage image;
    CGRect rect;
    ContextOptions options;
    const char* part;
  };
  const Row rows[] = {
      {"nil", {}, {{0, 0}, {8, 8}}, {}, "no image"},
      {"empty rectangle", blurred, {{0, 0}, {0, 8}}, {}, "nothing to render"},
      {"infinite rectangle", blurred, kInfiniteExtent, {}, "nothing to render"},
      {"too little memory", blurred, {{0, 0}, {8, 8}}, {.memoryLimit = 100000}, "limit is 0 MB"},
      {"too large", blurred, {{0, 0}, {1e12, 1e12}}, {}, "too large"},
  };
  for (const Row& row : rows) {
    std::string error;
    EXPECT_TRUE(rendered(row.image, row.rect, rgba8(0, 0), row.options, 1, &error).empty()) << row.name;
    EXPECT_NE(error.find(row.part), std::string::npos) << row.name << ": " << error;
  }
}

TEST(ContextTest, AnAbandonedRenderStops) {
  int calls = 0;
  std::string error;
  RenderRequest request{exposed(picture(64, 64)), {{0, 0}, {64, 64}}, 1, [&](double) { return ++calls < 3; }};
  EXPECT_TRUE(
      CIContext({.tileSide = 8}).createBitmap(request, rgba8(0, 0), ColorSpace::sRGB(), &error).empty());
  EXPECT_EQ(error, "the render was abandoned");
  EXPECT_LT(calls, 64);
}

// Counts the samples computed since somebody gave up.
struct Watched {
  static constexpr bool kStraight = true;
  static inline std::atomic<bool> givenUp{false};
  static inline std::atomic<int> since{0};
  explicit Watched(const Values&) {}
  Px operator()(Px p) const {
    if (givenUp) ++since;
    return p;
  }
};

TEST(ContextTest, ARenderNobodyWaitsForStopsWithinARow) {
  const CIImage image = applyKernel(point<Watched>(), {}, {exposed(picture(300, 300))});
  const auto on = [&](const char* name, Value radius) {
    return testing::filtered(image, name, {{"inputRadius", radius}});
  };
  const std::pair<const char*, CIImage> rows[] = {
      {"point", image}, {"blur", on("CIGaussianBlur", 30.0)}, {"twirl", on("CITwirlDistortion", 200.0)}};
  for (const auto& [name, recipe] : rows)
    for (const int patience : {0, 5, 100}) {
      Watched::givenUp = false;
      Watched::since = 0;
      std::atomic<int> asked{0};
      RenderRequest request{recipe, {{0, 0}, {300, 300}}};
      request.abandoned = [&] {
        if (asked++ >= patience) Watched::givenUp = true;
        return Watched::givenUp.load();
      };
      std::string error;
      CIContext({.threads = 2}).createBitmap(request, rgba8(0, 0), ColorSpace::sRGB(), &error);
      EXPECT_EQ(error, "the render was abandoned") << name;
      EXPECT_LE(Watched::since, 2 * 512) << name << patience;
    }
}

// A picture of which there are only the rows that were asked for and, where they come in order, none that
// were given back.
class RowsOnDemand {
 public:
  RowsOnDemand() : shown_(rows_.size(), 0x5A) {}
  CIImage image() const { return CIImage::imageWithBitmap(bitmap_); }
  void provide(const SourceRows& read, bool inOrder) {
    if (inOrder) {
      EXPECT_GE(read.begin, released_);
      released_ = read.begin;
      std::fill_n(shown_.begin(), read.begin * kRowBytes, 0x5A);
    }
    const auto from = rows_.begin() + read.begin * kRowBytes, to = rows_.begin() + read.end * kRowBytes;
    std::copy(from, to, shown_.begin() + read.begin * kRowBytes);
  }

  static constexpr int kWidth = 230, kHeight = 900;

 private:
  static constexpr int64_t kRowBytes = 4 * kWidth;
  const std::vector<uint8_t> rows_ =
      rendered(picture(kWidth, kHeight), {{0, 0}, {kWidth, kHeight}}, rgba8(kWidth, kHeight), {});
  std::vector<uint8_t> shown_;
  const Bitmap bitmap_{rgba8(kWidth, kHeight), ColorSpace::sRGB(), nullptr, shown_.data()};
  int64_t released_ = 0;
};

TEST(ContextTest, AMovedPictureIsReadInBandsUnlessItsRowsComeUpwards) {
  struct Row {
    const char* name;
    CGAffineTransform transform;
    bool inBands;
  };
  const Row rows[] = {{"smaller", {0.4, 0, 0, 0.3, 2.5, 1}, true},
                      {"much smaller", {0.07, 0, 0, 0.09, 0, 0}, true},
                      {"larger", {2.7, 0, 0, 3.1, -9, 4}, true},
                      {"sheared along rows", {0.8, 0, 0.3, 0.9, 0, 0}, true},
                      {"turned a little", {0.98, 0.17, -0.17, 0.98, 90, 0}, true},
                      {"turned much", {0.05, 0.99, -0.99, 0.1, 300, 20}, true},
                      {"turned over", {-0.6, 0.6, -0.6, -0.6, 700, 500}, false},
                      {"upside down", {1.2, 0, 0, -0.7, 0, 300}, false}};
  for (const Row& row : rows) {
    RowsOnDemand source;
    const auto moved = [&](const CIImage& image) {
      return exposed(image.imageByApplyingTransform(row.transform));
    };
    const CGRect rect{{3, 5}, {150, 700}};
    const RenderRequest request{moved(source.image()), rect};
    const CIContext context({.tileSide = 64});
    EXPECT_EQ(context.readsInBands(request), row.inBands) << row.name;
    std::vector<uint8_t> bytes;
    BandCallbacks bands;
    bands.provide = [&](const std::vector<SourceRows>& list) {
      for (const SourceRows& read : list) source.provide(read, row.inBands);
      return std::string();
    };
    bands.write = [&](int64_t, int64_t count, std::vector<uint8_t>& band, int64_t bytesPerRow) {
      bytes.insert(bytes.end(), band.begin(), band.begin() + count * bytesPerRow);
      return std::string();
    };
    EXPECT_EQ(context.renderBands(request, rgba8(0, 0), ColorSpace::sRGB(), bands), "") << row.name;
    const CIImage whole = moved(picture(RowsOnDemand::kWidth, RowsOnDemand::kHeight));
    EXPECT_TRUE(bytes == rendered(whole, rect, rgba8(0, 0), {})) << row.name;
    EXPECT_LE(largestStep(bytes, rendered(whole, rect, rgba8(0, 0), {.reference = true})), 1) << row.name;
  }
}

// Nobody touches its pixels.
TEST(ContextTest, AVastPictureIsReadInBandsHoweverFarItsBlursReachButNotWhereItIsTurned) {
  constexpr int64_t width = 50000, height = 4000;
  const auto unmap = [](void* pixels) { munmap(pixels, 4 * width * height); };
  const std::shared_ptr<void> pixels(
      mmap(nullptr, 4 * width * height, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0),
      unmap);
  const CIImage vast = CIImage::imageWithBitmap(
      Bitmap(rgba8(width, height), ColorSpace::sRGB(), pixels, static_cast<const uint8_t*>(pixels.get())));
  const auto inBands = [&](const CIImage& image) {
    return CIContext().readsInBands({image, {{0, 0}, {width, height}}});
  };
  EXPECT_TRUE(inBands(filtered(vast, "CIGaussianBlur", {{"inputRadius", 100.0}})));
  EXPECT_TRUE(inBands(vast.imageByApplyingTransform({1, 0.01, -0.01, 1, 0, 0})));
  EXPECT_FALSE(inBands(vast.imageByApplyingTransform({0.8, 0.6, -0.6, 0.8, 0, 0})));
}

TEST(ContextTest, SeveralThreadsRenderOneRecipe) {
  const CIImage image = applyKernel(separable<probes::Gaussian<60>>(), {}, {exposed(picture(50, 40))});
  const auto alone = rendered(image, {{0, 0}, {50, 40}}, rgbaFloat(50, 40), {});
  std::vector<std::thread> threads;
  std::vector<std::vector<uint8_t>> results(4);
  for (auto& result : results)
    threads.emplace_back([&] {
      result = rendered(image, {{0, 0}, {50, 40}}, rgbaFloat(50, 40), {.tileSide = 16});
    });
  for (std::thread& t : threads) t.join();
  for (const auto& result : results) EXPECT_TRUE(result == alone);
}

}  // namespace
}  // namespace vello
