// What a recipe means is settled when it is built: what folds, where images reach, which recipes are the
// same.
#include <gtest/gtest.h>

#include "engine/catalogue/definition.h"
#include "engine/catalogue/filter.h"
#include "engine/catalogue/registry.h"
#include "platform/exception.h"
#include "tests/engine/render/probe_kernels.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::picture;
using testing::rendered;
using testing::rgba8;

CIImage exposed(const CIImage& image) { return applyKernel(point<probes::Exposure>(), {}, {image}); }

TEST(ExtentTest, InfinityStaysExactAndEmptinessIsOneValue) {
  const CGRect a{{0, 0}, {10, 10}}, b{{5, -5}, {10, 8}}, away{{50, 50}, {1, 1}};
  EXPECT_EQ(intersection(kInfiniteExtent, a), a);
  EXPECT_EQ(unionOf(a, kInfiniteExtent), kInfiniteExtent);
  EXPECT_EQ(grown(kInfiniteExtent, 5, 5), kInfiniteExtent);
  EXPECT_EQ(intersection(a, b), (CGRect{{5, 0}, {5, 3}}));
  EXPECT_EQ(unionOf(a, b), (CGRect{{0, -5}, {15, 15}}));
  EXPECT_EQ(intersection(a, away), CGRect{});
  EXPECT_EQ(grown(a, -6, 0), CGRect{});
  EXPECT_EQ(roundedOut({{-0.5, 0.2}, {1, 1}}), (CGRect{{-1, 0}, {2, 2}}));
  EXPECT_TRUE(isEmpty({{0, 0}, {NAN, 1}}));
}

TEST(RecipeTest, NeighbouringTransformsAreOne) {
  const CIImage base = picture(20, 10);
  const CIImage twice = affine(affine(base, {2, 0, 0, 2, 3, 4}), {1, 0, 0, 1, -3, 6});
  EXPECT_EQ(twice.node()->inputs[0], base.node());
  EXPECT_EQ(twice.extent(), (CGRect{{0, 10}, {40, 20}}));
  EXPECT_EQ(affine(affine(base, {2, 0, 0, 2, 3, 4}), CGAffineTransformInvert({2, 0, 0, 2, 3, 4})), base);
}

TEST(RecipeTest, WhatCannotBeDrawnIsEmpty) {
  const CIImage base = picture(20, 10);
  EXPECT_TRUE(isEmpty(affine(base, {0, 0, 0, 0, 3, 4}).extent()));
  EXPECT_TRUE(isEmpty(affine(base, {NAN, 0, 0, 1, 0, 0}).extent()));
  EXPECT_TRUE(isEmpty(crop(base, {{30, 30}, {5, 5}}).extent()));
  EXPECT_TRUE(affine(CIImage(), {2, 0, 0, 2, 0, 0}).isNil());
  EXPECT_TRUE(applyKernel(point<probes::Exposure>(), {}, {CIImage()}).isNil());
}

TEST(RecipeTest, CropsFoldIntoOne) {
  const CIImage base = exposed(picture(20, 10));
  EXPECT_EQ(crop(base, {{-5, -5}, {50, 50}}), base);
  const CIImage twice = crop(crop(base, {{2, 2}, {10, 6}}), {{4, 0}, {20, 5}});
  EXPECT_EQ(twice.extent(), (CGRect{{4, 2}, {8, 3}}));
  EXPECT_EQ(twice.node()->inputs[0], base.node());
}

TEST(RecipeTest, EqualRecipesHaveEqualDigestsWhoeverBuiltThem) {
  const CIImage base = picture(20, 10), same = picture(20, 10);
  EXPECT_EQ(exposed(base), exposed(base));
  EXPECT_FALSE(exposed(base) == exposed(same)) << "another bitmap is another source";
  EXPECT_FALSE(crop(exposed(base), {{0, 0}, {5, 5}}) == crop(exposed(base), {{0, 0}, {5, 6}}));
}

// A transform, a transform, a turn and a blur: one sampling of the source's texels for the first three, in
// this order.
TEST(RecipeTest, WarpsReadTheSourceThroughOneTransform) {
  const CIImage base = picture(24, 16, false);
  const CIImage turned = applyKernel(warp<probes::FourfoldTile>(), {},
                                     {affine(affine(base, {1, 0, 0, 1, 3, 0}), {1, 0, 0, 1, -2, 1})});
  // At (4, 5) the tile's move is zero; the two transforms move by (1, 1).
  const auto one = rendered(turned, {{4, 5}, {1, 1}}, rgba8(1, 1), {});
  const auto source = rendered(base, {{3, 4}, {1, 1}}, rgba8(1, 1), {});
  EXPECT_EQ(one, source);
  // One tile further the same sample returns.
  EXPECT_EQ(rendered(turned, {{24, 25}, {1, 1}}, rgba8(1, 1), {}), source);
}

TEST(RecipeTest, HalfwayBetweenTexelsIsTheirEncodedMean) {
  std::vector<uint8_t> bytes = {0, 0, 0, 255, 200, 100, 50, 255};
  const CIImage two = CIImage::imageWithBitmap(Bitmap(rgba8(2, 1), ColorSpace::sRGB(), Data(bytes)));
  const auto direct = rendered(affine(two, {1, 0, 0, 1, 0.5, 0}), {{1, 0}, {1, 1}}, rgba8(1, 1), {});
  EXPECT_EQ(direct, (std::vector<uint8_t>{100, 50, 25, 255}));
  // Through a filter it is the mean of light: half of 200 encoded is 146.
  struct Double {
    explicit Double(const Values&) {}
    KERNEL Px operator()(Px p) const { return p * 1.0f; }
  };
  const auto light = rendered(affine(applyKernel(point<Double>(), {}, {two}), {1, 0, 0, 1, 0.5, 0}),
                              {{1, 0}, {1, 1}}, rgba8(1, 1), {});
  EXPECT_EQ(light[0], std::lround(255 * sRGBEncode(sRGBDecode(200 / 255.0) / 2)));
}

TEST(RecipeTest, LongChainsAreBuiltWalkedAndFreedWithoutRecursion) {
  CIImage image = picture(8, 8);
  for (int i = 0; i < 100000; ++i) image = applyKernel(point<probes::Contrast>(), {}, {image});
  std::string error;
  EXPECT_EQ(rendered(image, {{0, 0}, {8, 8}}, rgba8(8, 8), {}, 1, &error).size(), 256u) << error;
}

constexpr InputDef kInputs[] = {
    image(), scalar("inputGain", "Gain", {.initial = 2, .identity = 1, .range = {0, 10}, .slider = {0, 4}}),
    count("inputCount", "Count", {.initial = 3}), boolean("inputFlag", "Flag", {.initial = 1})};
struct Gain {
  explicit Gain(const Values& v) : gain(static_cast<float>(v.number("inputGain", 0, 10))) {}
  static bool identity(const Values& v) { return v.number("inputGain") == 1; }
  KERNEL Px operator()(Px p) const { return p * gain; }
  float gain;
};
constexpr FilterDef kRows[] = {{"TestGain", "Test Gain", "ColorEffect BuiltIn", kInputs, point<Gain>()}};

std::shared_ptr<CIFilter> gainFilter() {
  registerFilter(kRows[0]);
  auto filter = CIFilter::filterWithName("TestGain");
  filter->setDefaults();
  return filter;
}

TEST(FilterTest, ValuesAreSetReadObservedAndChecked) {
  const auto filter = gainFilter();
  EXPECT_FALSE(registerFilter(kRows[0])) << "the name is taken";
  EXPECT_EQ(filter->inputKeys(),
            (std::vector<std::string>{"inputImage", "inputGain", "inputCount", "inputFlag"}));
  EXPECT_TRUE(filter->valueForKey("inputGain").real());
  EXPECT_TRUE(filter->valueForKey("inputCount").integer());
  EXPECT_TRUE(filter->valueForKey("inputFlag").boolean());
  int told = 0;
  Connection c = filter->observe("inputGain", [&] { ++told; });
  filter->setValueForKey(3.0, "inputGain");
  filter->setValueForKey(3.0, "inputGain");
  EXPECT_EQ(told, 2) << "an equal value is a change too";
  c.close();
  filter->setValueForKey(1.0, "inputGain");
  EXPECT_EQ(told, 2);
  EXPECT_THROW(filter->setValueForKey(1.0, "inputNothing"), KPException);
  EXPECT_THROW(filter->setValueForKey("text", "inputGain"), KPException);
  EXPECT_EQ(filter->valueForKey("inputGain"), Value(1.0));
  EXPECT_EQ(CIFilter::filterWithName("NoSuchFilter"), nullptr);
}

TEST(FilterTest, OutputFollowsTheInputs) {
  const auto filter = gainFilter();
  EXPECT_TRUE(filter->outputImage().isNil()) << "without its image";
  const CIImage base = picture(6, 6);
  filter->setValueForKey(base, "inputImage");
  EXPECT_FALSE(filter->outputImage() == base);
  filter->setValueForKey(Value(), "inputGain");
  const CIImage byDefault = filter->outputImage();
  filter->setValueForKey(2.0, "inputGain");
  EXPECT_EQ(filter->outputImage(), byDefault) << "nil is the default";
  filter->setValueForKey(1.0, "inputGain");
  EXPECT_EQ(filter->outputImage(), base) << "what changes nothing is not in the recipe";
}

}  // namespace
}  // namespace vello
