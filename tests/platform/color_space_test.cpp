#include "platform/color_space.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/platform/test_profiles.h"

namespace vello {
namespace {

using testing::kRGBProfiles;
using testing::makeProfile;
using testing::RGBProfile;

std::vector<float> randomComponents(size_t count) {
  std::mt19937 random(2);
  std::uniform_real_distribution<float> unit(0, 1);
  std::vector<float> values(count);
  for (float& value : values) value = unit(random);
  return values;
}

// What Little CMS itself makes of a profile, in float.
std::vector<float> byLittleCMS(const std::vector<uint8_t>& profile, cmsUInt32Number format,
                               const std::vector<float>& components, size_t n) {
  const RGBProfile linear{
      "linear", {0.64, 0.33, 0.30, 0.60, 0.15, 0.06, testing::kWhiteX, testing::kWhiteY}, 1};
  cmsHPROFILE from = cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
  const cmsCIExyY white{linear.xy[6], linear.xy[7], 1};
  const cmsCIExyYTRIPLE primaries{
      {linear.xy[0], linear.xy[1], 1}, {linear.xy[2], linear.xy[3], 1}, {linear.xy[4], linear.xy[5], 1}};
  cmsToneCurve* curve = testing::makeToneCurve(1);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE to = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsHTRANSFORM transform = cmsCreateTransform(from, format, to, TYPE_RGB_FLT, INTENT_RELATIVE_COLORIMETRIC,
                                               format == TYPE_CMYK_FLT ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0);
  std::vector<float> result(3 * n);
  cmsDoTransform(transform, components.data(), result.data(), static_cast<cmsUInt32Number>(n));
  cmsDeleteTransform(transform);
  cmsFreeToneCurve(curve);
  cmsCloseProfile(to);
  cmsCloseProfile(from);
  return result;
}

double largestDifference(const std::vector<float>& a, const std::vector<float>& b) {
  double largest = 0;
  for (size_t i = 0; i < a.size(); ++i) largest = std::max(largest, double{std::abs(a[i] - b[i])});
  return largest;
}

std::vector<float> toLinear(const ColorSpace& space, const std::vector<float>& components, size_t n) {
  std::vector<float> light(3 * n);
  space.toLinear(components.data(), light.data(), n);
  return light;
}

TEST(ColorSpace, MatrixProfilesMatchLittleCMS) {
  constexpr size_t n = 2000;
  const std::vector<float> components = randomComponents(3 * n);
  for (const RGBProfile& row : kRGBProfiles) {
    const std::vector<uint8_t> profile = makeProfile(row);
    const ColorSpacePtr space = ColorSpace::fromProfile(profile);
    ASSERT_TRUE(space) << row.name;
    EXPECT_TRUE(space->isMatrix()) << row.name;
    // sRGB is taken as exactly sRGB, so there the profile's own rounding is what differs.
    const double tolerance = std::string(row.name) == "sRGB" ? 5e-5 : 1.5e-6;
    EXPECT_LT(
        largestDifference(toLinear(*space, components, n), byLittleCMS(profile, TYPE_RGB_FLT, components, n)),
        tolerance)
        << row.name;
  }
}

TEST(ColorSpace, OtherModelsMatchLittleCMS) {
  constexpr size_t n = 500;
  const std::vector<float> components = randomComponents(4 * n);
  const std::vector<uint8_t> cmyk = testing::makeCMYKProfile(), gray = testing::makeGrayProfile(1.8);
  const ColorSpacePtr ink = ColorSpace::fromProfile(cmyk), paper = ColorSpace::fromProfile(gray);
  ASSERT_TRUE(ink && paper);
  EXPECT_EQ(ink->model(), ColorSpace::Model::cmyk);
  EXPECT_FALSE(ink->isMatrix());
  EXPECT_TRUE(paper->isMatrix());
  std::vector<float> percent = components;
  for (float& value : percent) value *= 100;
  EXPECT_LT(largestDifference(toLinear(*ink, components, n), byLittleCMS(cmyk, TYPE_CMYK_FLT, percent, n)),
            1e-6);
  EXPECT_LT(
      largestDifference(toLinear(*paper, components, n), byLittleCMS(gray, TYPE_GRAY_FLT, components, n)),
      2e-5);
}

TEST(ColorSpace, NamedSpacesMeanWhatTheirProfilesSay) {
  for (const char* name : {"sRGB", "linear sRGB", "Display P3", "Adobe RGB", "generic RGB", "generic gray",
                           "sRGB gray", "linear gray"}) {
    const ColorSpacePtr space = ColorSpace::named(name);
    ASSERT_TRUE(space) << name;
    const ColorSpacePtr again = ColorSpace::fromProfile(space->profile().span());
    ASSERT_TRUE(again) << name;
    EXPECT_EQ(again->name(), name);
    constexpr size_t n = 100;
    const std::vector<float> components = randomComponents(3 * n);
    EXPECT_LT(largestDifference(toLinear(*space, components, n), toLinear(*again, components, n)), 5e-5)
        << name;
    float white[3] = {1, 1, 1}, light[3], back[3];
    space->toLinear(white, light, 1);
    for (const float value : light) EXPECT_NEAR(value, 1, 1e-6) << name;
    space->fromLinear(light, back, 1);
    EXPECT_NEAR(back[0], 1, 1e-6) << name;
  }
  EXPECT_FALSE(ColorSpace::named("no such space"));
  EXPECT_EQ(ColorSpace::fromProfile(ColorSpace::sRGB()->profile().span())->toSRGB(),
            ColorSpace::sRGB()->toSRGB());
}

TEST(ColorSpace, NamedSpacesHaveTheirPublishedPrimaries) {
  const RGBProfile generic{
      "generic RGB",
      {0.6295, 0.3407, 0.2949, 0.6055, 0.1551, 0.0762, testing::kWhiteX, testing::kWhiteY},
      1.8};
  const std::pair<const char*, RGBProfile> rows[] = {{"sRGB", kRGBProfiles[0]},
                                                     {"Display P3", kRGBProfiles[1]},
                                                     {"Adobe RGB", kRGBProfiles[2]},
                                                     {"generic RGB", generic}};
  constexpr size_t n = 100;
  const std::vector<float> components = randomComponents(3 * n);
  for (const auto& row : rows) {
    EXPECT_LT(largestDifference(toLinear(*ColorSpace::named(row.first), components, n),
                                byLittleCMS(makeProfile(row.second), TYPE_RGB_FLT, components, n)),
              5e-5)
        << row.first;
  }
}

std::vector<uint8_t> withTable(int entries, double (*light)(double)) {
  std::vector<uint16_t> table(static_cast<size_t>(entries));
  for (int i = 0; i < entries; ++i)
    table[static_cast<size_t>(i)] = static_cast<uint16_t>(std::lround(light(i / (entries - 1.0)) * 65535));
  return makeProfile(kRGBProfiles[2],
                     cmsBuildTabulatedToneCurve16(nullptr, static_cast<uint32_t>(entries), table.data()));
}

TEST(ColorSpace, TablesOfRoundedValuesCanBeInverted) {
  const std::vector<uint8_t> profiles[] = {
      withTable(1024, [](double x) { return sRGBDecode(x); }),
      withTable(4096, [](double x) { return std::pow(x, 2.6); }),  // begins with dozens of zeros
      withTable(2, [](double x) { return x; }),
  };
  for (const std::vector<uint8_t>& profile : profiles) {
    const ColorSpacePtr space = ColorSpace::fromProfile(profile);
    ASSERT_TRUE(space && space->isMatrix());
    for (int i = -300; i <= 1300; ++i) {
      const double encoded = i / 1000.0;
      ASSERT_NEAR(space->encode(0, space->decode(0, encoded)), encoded, 1e-9);
    }
  }
}

TEST(ColorSpace, ProfilesWithoutAnInverseAreOnlyRead) {
  const std::vector<uint8_t> profiles[] = {
      withTable(256, [](double x) { return x < 0.5 ? 0.2 : x; }),
      withTable(256, [](double x) { return 1 - x; }),
      withTable(256, [](double x) { return std::abs(x - 0.3); }),
  };
  for (const std::vector<uint8_t>& profile : profiles) {
    const ColorSpacePtr space = ColorSpace::fromProfile(profile);
    ASSERT_TRUE(space);
    EXPECT_FALSE(space->isMatrix());
    float components[3] = {0.9f, 0.9f, 0.9f}, light[3];
    space->toLinear(components, light, 1);
    EXPECT_TRUE(std::isfinite(light[1]));
  }
}

TEST(ColorSpace, DamagedProfilesAreRefusedOrStillGiveNumbers) {
  std::mt19937 random(9);
  const std::vector<uint8_t> bases[] = {makeProfile(kRGBProfiles[0]), testing::makeCMYKProfile(),
                                        testing::makeGrayProfile(2.2)};
  int refused = 0;
  for (const std::vector<uint8_t>& base : bases) {
    for (int i = 0; i < 300; ++i) {
      std::vector<uint8_t> bytes = base;
      for (int k = 0; k < 4; ++k) bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
      if (i % 3 == 0) bytes.resize(random() % bytes.size());
      const ColorSpacePtr space = ColorSpace::fromProfile(bytes);
      refused += !space;
      if (!space) continue;
      const float components[4] = {0.5f, 0.25f, 0.75f, 0.1f};
      float light[3];
      space->toLinear(components, light, 1);
      EXPECT_FALSE(std::isnan(light[0]));
    }
  }
  EXPECT_GT(refused, 300);
  EXPECT_FALSE(ColorSpace::fromProfile({}));
}

TEST(ColorSpace, CMYKWithoutAProfileHasAMeaning) {
  const float inks[3][4] = {{0, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 0.5f}};
  float light[9];
  ColorSpace::named("device CMYK")->toLinear(inks[0], light, 3);
  EXPECT_EQ(light[0], 1);
  EXPECT_EQ(light[3], 0);
  EXPECT_EQ(light[4], 1);
  EXPECT_FLOAT_EQ(light[7], static_cast<float>(sRGBDecode(0.5)));
}

}  // namespace
}  // namespace vello
