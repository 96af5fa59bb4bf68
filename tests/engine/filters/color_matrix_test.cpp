// Linear colour filters in a row become one matrix; the picture stays what they make one after the other.
#include <gtest/gtest.h>

#include "engine/image/node.h"
#include "tests/engine/filtered.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::rgbaFloat;

constexpr int kWidth = 40, kHeight = 24;

struct Stage {
  const char* filter;
  testing::FilterInputs inputs;
};

struct Row {
  const char* name;
  bool joined;
  std::vector<Stage> stages;
};

const Stage kExposure{"CIExposureAdjust", {{"inputEV", 1.0}}};
const Stage kDarker{"CIExposureAdjust", {{"inputEV", -1.0}}};
const Stage kHue{"CIHueAdjust", {{"inputAngle", 1.1}}};
const Stage kInvert{"CIColorInvert", {}};
const Stage kControls{"CIColorControls",
                      {{"inputSaturation", 1.6}, {"inputBrightness", 0.1}, {"inputContrast", 1.3}}};
const Stage kMatrix{
    "CIColorMatrix",
    {{"inputRVector", CIVector{0.8, 0.3, 0, 0}}, {"inputBiasVector", CIVector{0.1, 0, -0.1, 0}}}};
const Stage kFaded{"CIColorMatrix", {{"inputAVector", CIVector{0, 0, 0, 0.5}}}};
const Stage kFromAlpha{"CIColorMatrix", {{"inputGVector", CIVector{0, 1, 0, 0.4}}}};
const Stage kHuge{"CIColorMatrix", {{"inputRVector", CIVector{1e18, 0, 0, 0}}}};

const Row kRows[] = {
    {"five_filters", true, {kExposure, kMatrix, kHue, kControls, kInvert}},
    {"alpha_changed_at_last", true, {kInvert, kHue, kFaded}},
    {"alpha_changed_at_first", false, {kFaded, kInvert}},
    {"alpha_read", true, {kControls, kFromAlpha, kExposure}},
    {"beyond_the_range", false, {kHuge, kHuge}},
    {"a_curve_after_them", false, {kExposure, {"CIGammaAdjust", {{"inputPower", 2.0}}}}},
};

CIImage applied(const Stage& stage, const CIImage& image) {
  return testing::filtered(image, stage.filter, stage.inputs);
}

Bitmap developed(const CIImage& image) {
  std::string error;
  const Bitmap bitmap =
      CIContext().createBitmap({image, {{0, 0}, {kWidth, kHeight}}, 1, {}}, rgbaFloat(kWidth, kHeight),
                               ColorSpace::named("linear sRGB"), &error);
  EXPECT_EQ(error, "");
  return bitmap;
}

class ColorMatrixTest : public ::testing::TestWithParam<Row> {};

TEST_P(ColorMatrixTest, MakesWhatTheFiltersMakeOneAfterTheOther) {
  const CIImage source = testing::picture(kWidth, kHeight);
  CIImage chain = source, steps = source;
  for (const Stage& stage : GetParam().stages) {
    chain = applied(stage, chain);
    steps = CIImage::imageWithBitmap(developed(applied(stage, steps)));
  }
  EXPECT_EQ(chain.node()->inputs[0] == source.node(), GetParam().joined);
  const Bitmap found = developed(chain), expected = developed(steps);
  for (int y = 0; y < kHeight; ++y) {
    const auto* f = reinterpret_cast<const float*>(found.row(y));
    const auto* e = reinterpret_cast<const float*>(expected.row(y));
    for (int k = 0; k < 4 * kWidth; ++k)
      ASSERT_NEAR(f[k], e[k], 1e-5f * (1 + std::abs(e[k]))) << k << ", " << y;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, ColorMatrixTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ColorMatrixTest, WhatCancelsLeavesTheImage) {
  const CIImage source = testing::picture(kWidth, kHeight);
  EXPECT_EQ(applied(kInvert, applied(kInvert, source)), source);
  EXPECT_EQ(applied(kDarker, applied(kExposure, source)), source);
}

}  // namespace
}  // namespace vello
