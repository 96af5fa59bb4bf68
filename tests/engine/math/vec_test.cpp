// The kernels' elementary functions against the C library's, over all they are used for.
#include "engine/math/vec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vello {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

double relative(double found, double expected) { return std::abs(found - expected) / std::abs(expected); }

TEST(VecTest, PowersOfTwo) {
  double worst = 0;
  for (int i = -126 * 997; i <= 127 * 997; ++i) {
    const float x = static_cast<float>(i) / 997;
    worst = std::max(worst, relative(vec::exp2(x), std::exp2(static_cast<double>(x))));
  }
  EXPECT_LT(worst, 2e-7);
  for (int whole = -126; whole <= 127; ++whole)
    EXPECT_EQ(vec::exp2(static_cast<float>(whole)), std::ldexp(1.0f, whole));
  EXPECT_EQ(vec::exp2(1e30f), vec::exp2(127));
  EXPECT_EQ(vec::exp2(-kInfinity), vec::exp2(-126));
}

TEST(VecTest, Logarithms) {
  double worst = 0;
  for (int i = -120 * 997; i <= 120 * 997; ++i) {
    const float x = static_cast<float>(std::exp2(i / 997.0));
    const double exact = std::log2(static_cast<double>(x));
    worst = std::max(worst, std::abs(vec::log2(x) - exact) / std::max(1.0, std::abs(exact)));
  }
  EXPECT_LT(worst, 2e-7);
  EXPECT_EQ(vec::log2(1), 0);
  EXPECT_EQ(vec::log2(8), 3);
  EXPECT_EQ(vec::log2(0), -126);
  EXPECT_EQ(vec::log2(-5), -126);
}

TEST(VecTest, Powers) {
  // As gamma filters use them: light from deep shadow to far above white.
  for (float power : {0.25f, 0.45f, 1.0f, 2.2f, 4.0f}) {
    double worst = 0;
    for (float x = 1e-4f; x < 32; x *= 1.01f)
      worst = std::max(worst, relative(vec::pow(x, power), std::pow(static_cast<double>(x), power)));
    EXPECT_LT(worst, 2e-6 * std::max(1.0f, power)) << power;
  }
  EXPECT_EQ(vec::pow(0, 2), 0);
  EXPECT_EQ(vec::pow(-1, 2), 0);
  EXPECT_EQ(vec::pow(kNaN, 2), 0);
}

TEST(VecTest, SinesAndCosines) {
  double worst = 0;
  for (int i = -100000; i <= 100000; ++i) {
    const float x = static_cast<float>(i) * 0.1003f;
    const vec::SinCos found = vec::sinCos(x);
    worst = std::max({worst, std::abs(found.sin - std::sin(static_cast<double>(x))),
                      std::abs(found.cos - std::cos(static_cast<double>(x)))});
  }
  EXPECT_LT(worst, 1e-6);
  EXPECT_EQ(vec::sinCos(0).sin, 0);
  EXPECT_EQ(vec::sinCos(0).cos, 1);
}

TEST(VecTest, WholeNumbersBelow) {
  for (float x : {-3.0f, -2.5f, -0.25f, -0.0f, 0.0f, 0.49999997f, 0.75f, 2.0f, 2.999f, 4194303.5f,
                  -4194303.5f, 1e9f, -1e30f, kInfinity})
    EXPECT_EQ(vec::floor(x), std::floor(x)) << x;
}

}  // namespace
}  // namespace vello
