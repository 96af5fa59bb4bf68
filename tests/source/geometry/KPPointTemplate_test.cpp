#include "source/geometry/KPPointTemplate.h"

#include <gtest/gtest.h>

#include <cmath>

#include "source/geometry/KPSizeTemplate.h"
#include "tests/source/geometry/geometry_printing.h"

namespace vello {
namespace {

TEST(KPPointTemplate, AngleIsTheDirectionInDegrees) {
  const struct {
    KPPointTemplate to;
    float degrees;
  } rows[] = {{{1, 0}, 0},    {{1, 1}, 45},    {{0, 1}, 90},   {{-1, 1}, 135}, {{-1, 0}, 180},
              {{0, -1}, 270}, {{-1, -1}, 225}, {{1, -1}, 315}, {{0, 0}, 0},    {{1e-30f, 0}, 0}};
  for (const auto& row : rows)
    EXPECT_NEAR(KPPointTemplate(0, 0).Angle(row.to), row.degrees, 1e-4) << row.to.x() << ", " << row.to.y();
  EXPECT_LT(KPPointTemplate(0, 0).Angle({1, -1e-7f}), 360);
}

TEST(KPPointTemplate, RoundsHalvesUpAndComparesLoosely) {
  KPPointTemplate p(-2.5f, 2.5f);
  p.Round();
  EXPECT_EQ(CGPoint(p), (CGPoint{-2, 3}));
  p.Set(-0.1f, 1.9f);
  p.Floor();
  EXPECT_EQ(CGPoint(p), (CGPoint{-1, 1}));
  EXPECT_FALSE(KPPointTemplate(0, 0).MostlyEqual({0.0001f, 0}));
  EXPECT_TRUE(KPPointTemplate(0, 0).MostlyEqual({0.00009f, -0.00009f}));
  EXPECT_EQ(KPPointTemplate(1, 1).Distance({4, 5}), 5);
  KPSizeTemplate s(-2.5f, 0.5f);
  s.Round();
  EXPECT_EQ(CGSize(s), (CGSize{-2, 1}));
}

TEST(KPPointTemplate, OperatorsRoundToSingleAndAssignmentsDoNot) {
  const KPPointTemplate third(CGPoint{1.0 / 3, 1.0 / 3}), one(1, 1);
  EXPECT_EQ((one + third).CGPoint::x, double{static_cast<float>(1 + 1.0 / 3)});
  EXPECT_EQ((one - third).CGPoint::y, double{static_cast<float>(1 - 1.0 / 3)});
  KPPointTemplate sum = one;
  sum += third;
  EXPECT_EQ(sum.CGPoint::x, 1 + 1.0 / 3);
  EXPECT_EQ(CGPoint(KPPointTemplate(6, 8) / 2 * KPPointTemplate(2, 3)), (CGPoint{6, 12}));
  EXPECT_EQ(CGSize((KPSizeTemplate(6, 8) - KPSizeTemplate(2, 2)) * 0.5f), (CGSize{2, 3}));
  EXPECT_EQ((CGPoint{0.1, 1} + CGPoint{0.2, 1}), (CGPoint{0.1 + 0.2, 2}));
}

TEST(KPPointTemplate, TurnsCounterclockwise) {
  KPPointTemplate p(20, 10);
  p.Rotate(90, {10, 10});
  EXPECT_TRUE(p.MostlyEqual({10, 20}));
  p.Rotate(90, {10, 10});
  EXPECT_TRUE(p.MostlyEqual({0, 10}));
  p.Rotate(NAN, {0, 0});
  EXPECT_TRUE(std::isnan(p.x()));
  p.Set(1, 0);
  p.Rotate(-90, {0, 0});
  EXPECT_TRUE(p.MostlyEqual({0, -1}));
}

}  // namespace
}  // namespace vello
