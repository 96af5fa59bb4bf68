// Numbers as a broken chain may hold them, on pixels as no camera makes them: no filter may leave a sample
// that is no number, for it would spread through every filter after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "engine/filters/kinds.h"
#include "engine/image/node.h"
#include "tests/engine/filters/built_in.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::builtInFilters;
using testing::Noise;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kBad[] = {kNaN,   kInfinity, -kInfinity, 1e30, -1e30, 1e300, 1e-30,
                           1e-320, 0,         -1,         0.5,  3,     1e6};

// Light far below black and above white, on no alpha, hardly any, some and more than all.
CIImage wild(uint64_t seed) {
  Noise noise{seed};
  constexpr int side = 11;
  const float alphas[] = {0, 1e-6f, 0.3f, 1, 1.5f}, lights[] = {0, -0.5f, 0.2f, 1, 300, -300};
  std::vector<float> samples;
  for (int i = 0; i < side * side; ++i) {
    const float a = alphas[noise.below(5)];
    for (int c = 0; c < 3; ++c) samples.push_back(a * lights[noise.below(6)]);
    samples.push_back(a);
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
  return CIImage::imageWithBitmap(Bitmap(rgbaFloat(side, side), ColorSpace::named("linear sRGB"),
                                         Data(std::vector<uint8_t>(bytes, bytes + samples.size() * 4))));
}

std::shared_ptr<CIFilter> filterOnWildImages(const std::string& name) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  uint64_t seed = 1;
  for (const InputAttributes& input : filter->attributes().inputs)
    if (input.className == "CIImage") filter->setValueForKey(wild(seed++), input.key);
  return filter;
}

// Every component of the input, or only its first one.
Value badValue(const InputAttributes& input, double bad, bool all) {
  const double rest = all ? bad : 4;
  if (input.className == "CIVector") return CIVector{bad, rest, rest, rest};
  if (input.className == "CIColor") return CIColor(bad, all ? bad : 0.5, all ? bad : 0.5, all ? bad : 0.5);
  if (input.className == "NSAffineTransform")
    return CGAffineTransform{bad, all ? bad : 0, all ? bad : 0, all ? bad : 1, all ? bad : 0, 2};
  return bad;
}

// Files and screens show what is no number as 0, so it is looked for before it gets there.
struct NotANumber {
  explicit NotANumber(const Values&) {}
  KERNEL float channel(float v) const { return v == v ? 0.0f : 1.0f; }
  KERNEL Px operator()(Px p) const { return {channel(p.r), channel(p.g), channel(p.b), channel(p.a)}; }
};

// Refusing a render is an answer too.
void expectNumbers(const CIFilter& filter, const std::string& what) {
  std::string error;
  const CIImage marks = applyKernel(point<NotANumber>(), {}, {filter.outputImage()});
  const auto bytes = rendered(marks, {{-3, -3}, {17, 16}}, rgba8(0, 0), {}, 1, &error);
  EXPECT_EQ(bytes.empty(), !error.empty()) << what;
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), static_cast<std::ptrdiff_t>(bytes.size())) << what;
}

class NastyValuesTest : public ::testing::TestWithParam<std::string> {};

TEST_P(NastyValuesTest, LeaveNumbersEverywhere) {
  const auto& inputs = CIFilter::attributesForFilterName(GetParam())->inputs;
  for (const InputAttributes& input : inputs)
    for (double bad : kBad)
      for (bool all : {false, true}) {
        if (input.className == "CIImage" || (all && input.className == "NSNumber")) continue;
        const auto filter = filterOnWildImages(GetParam());
        filter->setValueForKey(badValue(input, bad, all), input.key);
        expectNumbers(*filter, input.key + " = " + std::to_string(bad) + (all ? " throughout" : ""));
      }
}

TEST_P(NastyValuesTest, LeaveNumbersWhenAllAreBad) {
  for (double bad : kBad) {
    const auto filter = filterOnWildImages(GetParam());
    for (const InputAttributes& input : filter->attributes().inputs)
      if (input.className != "CIImage") filter->setValueForKey(badValue(input, bad, true), input.key);
    expectNumbers(*filter, "all = " + std::to_string(bad));
  }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, NastyValuesTest, ::testing::ValuesIn(builtInFilters()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace vello
