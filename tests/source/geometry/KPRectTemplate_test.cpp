#include "source/geometry/KPRectTemplate.h"

#include <gtest/gtest.h>

#include "source/geometry/rect_functions.h"
#include "source/geometry/rect_text.h"
#include "tests/source/geometry/geometry_printing.h"
#include "tests/source/log_capture.h"

namespace vello {
namespace {

const CGRect kBounds = rect(10, 20, 100, 50);

TEST(KPRectTemplate, ConstrainedRectIsClippedEdgeByEdge) {
  const struct {
    const char* name;
    CGRect given, expected;
  } rows[] = {
      {"inside, its digits kept", rect(20.1, 30.1, 0.1, 0.1), rect(20.1, 30.1, 0.1, 0.1)},
      {"larger on all sides", rect(-100, -100, 500, 500), kBounds},
      {"over the left and top edges", rect(0, 10, 20, 20), rect(10, 20, 10, 10)},
      {"over the right and bottom edges", rect(100, 60, 50, 50), rect(100, 60, 10, 10)},
      {"wholly left and above", rect(-50, -50, 20, 20), rect(10, 20, 0, 0)},
      {"wholly right and below", rect(200, 200, 20, 20), rect(110, 70, 0, 0)},
      {"holds everything", rect(-8.98847e307, -8.98847e307, 1.79769e308, 1.79769e308), kBounds},
      {"negative width", rect(50, 30, -100, 10), rect(50, 30, -40, 10)},
  };
  for (const auto& row : rows)
    EXPECT_EQ(CGRect(KPRectTemplate(kBounds).GetConstrainedRect(row.given)), row.expected) << row.name;
}

TEST(KPRectTemplate, ConstrainedPointIsTheNearestInside) {
  const struct {
    CGPoint given, expected;
  } rows[] = {{{50.1, 30.1}, {50.1, 30.1}}, {{0, 0}, {10, 20}},     {{500, 30}, {110, 30}},
              {{50, 500}, {50, 70}},        {{110, 70}, {110, 70}}, {{-1e300, 1e300}, {10, 70}}};
  for (const auto& row : rows) {
    EXPECT_EQ(CGPoint(KPRectTemplate(kBounds).ConstrainedPoint(row.given)), row.expected);
    EXPECT_EQ(ConstrainToRect(row.given, kBounds), row.expected);
  }
}

TEST(KPRectTemplate, EdgesMoveAloneAndStoreSingles) {
  KPRectTemplate r(10, 20, 100, 50);
  r.SetLeft(30);
  r.SetBottom(50);
  EXPECT_EQ(CGRect(r), rect(30, 20, 80, 30));
  r.SetTop(60);
  r.SetRight(20);
  EXPECT_EQ(CGRect(r), rect(30, 60, -10, -10));
  EXPECT_TRUE(r.IsEmpty());

  r = KPRectTemplate(rect(0.1, 0, 1, 1));
  r.SetRight(0.7f);
  EXPECT_EQ(r.CGRect::size.width, double{static_cast<float>(0.7f - 0.1)});
}

TEST(KPRectTemplate, CentresInsetsAndIntersects) {
  KPRectTemplate r(0, 0, 100, 50);
  r.CenterOn({300, 300});
  EXPECT_EQ(CGRect(r), rect(250, 275, 100, 50));
  EXPECT_EQ(CGPoint(r.MiddleRight()), (CGPoint{350, 300}));
  r.Inset(10, 5);
  EXPECT_EQ(CGRect(r), rect(260, 280, 80, 40));
  r.Intersect(KPRectTemplate(KPPointTemplate(300, 290), KPPointTemplate(0, 0)));
  EXPECT_EQ(CGRect(r), rect(260, 280, 40, 10));
  r.Intersect(KPRectTemplate(1000, 1000, 5, 5));
  EXPECT_EQ(r.Width(), 0);
  EXPECT_EQ(r.Height(), 0);
}

TEST(KPRectTemplate, ContainsItsEdges) {
  const KPRectTemplate r = kBounds;
  EXPECT_TRUE(r.Contains(KPPointTemplate(10, 20)));
  EXPECT_TRUE(r.Contains(KPPointTemplate(110, 70)));
  EXPECT_FALSE(r.Contains(KPPointTemplate(110.1f, 70)));
  EXPECT_TRUE(r.Contains(r));
  EXPECT_FALSE(r.Contains(KPRectTemplate(10, 20, 100, 51)));
}

TEST(KPRectTemplate, GrowsScalesAndRounds) {
  KPRectTemplate r(10, 10, 20, 10);
  r.Scale(2);
  EXPECT_EQ(CGRect(r), rect(0, 5, 40, 20));
  r.MoveBy(1, -2);
  EXPECT_EQ(CGRect(r), rect(1, 3, 40, 20));
  r.Expand({50, 0});
  EXPECT_EQ(CGRect(r), rect(1, 0, 49, 23));
  r.Expand({20, 20});
  EXPECT_EQ(CGRect(r), rect(1, 0, 49, 23));
  r = KPRectTemplate(0.5f, 1.5f, 2.5f, -0.5f);
  r.Round();
  EXPECT_EQ(CGRect(r), rect(1, 2, 3, 0));

  const KPRectTemplate a(0, 0, 10, 10);
  EXPECT_EQ(CGRect(a.GetUnion({20, -5, 5, 5})), rect(0, -5, 25, 15));
  EXPECT_EQ(CGRect(a.GetUnion({20, -5, 0, 5})), CGRect(a));
  EXPECT_EQ(CGRect(KPRectTemplate(5, 5, 0, 9).GetUnion(a)), CGRect(a));
  EXPECT_TRUE(a.Intersects({9, 9, 5, 5}));
  EXPECT_FALSE(a.Intersects({10, 0, 5, 5}));
}

TEST(KPRectTemplate, DifferencesAreTheStripsBetweenEdges) {
  const KPRectTemplate a(0, 0, 10, 20), b(3, -4, 15, 10);
  EXPECT_EQ(CGRect(a.TopDifference(b)), rect(0, -4, 18, 4));
  EXPECT_EQ(CGRect(a.BottomDifference(b)), rect(0, 6, 18, 14));
  EXPECT_EQ(CGRect(a.LeftDifference(b)), rect(0, -4, 3, 24));
  EXPECT_EQ(CGRect(a.RightDifference(b)), rect(10, -4, 8, 24));
  EXPECT_EQ(CGRect(a.LeftDifference({0, 5, 1, 1})), CGRect{});
}

TEST(KPRectTemplate, CentresInsideAnotherAndTurns) {
  KPRectTemplate large(7, 7, 200, 200), small(0, 0, 20, 10);
  EXPECT_FALSE(large.CenterInRect({0, 0, 100, 100}));
  EXPECT_EQ(CGRect(large), rect(0, 0, 200, 200));
  EXPECT_TRUE(small.CenterInRect({0, 0, 100, 100}));
  EXPECT_EQ(CGRect(small), rect(40, 45, 20, 10));

  EXPECT_TRUE(small.GetRotatedLocation(90, {0, 0}).MostlyEqual({-60, 45}));
  small.Rotate(90, {50, 50});
  EXPECT_TRUE(small.TopLeft().MostlyEqual({45, 40}));
  EXPECT_TRUE(small.BottomRight().MostlyEqual({55, 60}));
}

TEST(GeometryTypes, AreLoggedWithSixDecimals) {
  const LogCapture log;
  KPPointTemplate(1, -2.5f).Log("p");
  KPSizeTemplate(3, 4).Log("s");
  KPRectTemplate(1, 2, 3, 1e6f).Log("r");
  EXPECT_EQ(log.lines,
            (std::vector<std::string>{
                "KPPoint (p): x = 1.000000, y = -2.500000", "KPSize (s): width = 3.000000, height = 4.000000",
                "KPRect (r): x = 1.000000, y = 2.000000, w = 3.000000, h = 1000000.000000"}));
}

TEST(RectFunctions, TransformMapsOneRectangleOntoTheOther) {
  const CGAffineTransform t = NSRectToNSRectTransform(rect(10, 20, 200, 100), rect(-5, 7, 100, 200));
  EXPECT_EQ(CGPointApplyAffineTransform({10, 20}, t), (CGPoint{-5, 7}));
  EXPECT_EQ(CGPointApplyAffineTransform({210, 120}, t), (CGPoint{95, 207}));
  // The ratio is a single.
  EXPECT_EQ(NSRectToNSRectTransform(rect(0, 0, 10, 10), rect(0, 0, 3, 3)).a, double{0.3f});
  EXPECT_EQ(RectCenterPoint(kBounds), (CGPoint{60, 45}));
}

TEST(RectText, ReadsBackWhatItWrites) {
  EXPECT_EQ(NSStringFromRect(rect(0, -1.5, 600.0000238418579, 300)), "{{0, -1.5}, {600.0000238418579, 300}}");
  for (const CGRect& r : {rect(0.1, 1e-9, 1.0 / 3, 12345678.9), rect(-1e300, 0, 5, 1e22)})
    EXPECT_EQ(NSRectFromString(NSStringFromRect(r)), r);
}

TEST(RectText, IsReadLeniently) {
  const struct {
    const char* text;
    CGRect expected;
  } rows[] = {
      {"{{1,2},{3,4}}", rect(1, 2, 3, 4)},
      {" { { 1 , 2 } , { 3 , 4 } } ", rect(1, 2, 3, 4)},
      {"1, 2, 3, 4", rect(1, 2, 3, 4)},
      {"{{1, 2}, {3}}", rect(1, 2, 3, 0)},
      {"{{1}, {3, 4}}", rect(1, 0, 3, 4)},
      {"{{}, {3, 4}}", rect(0, 0, 3, 4)},
      {"{{, 2}, {, 4}}", rect(0, 2, 0, 4)},
      {"{{x, 2}, {3, 4}", rect(0, 2, 3, 4)},
      {"{{1, 2}, {3, 4}, {5, 6}}", rect(1, 2, 3, 4)},
      {"", {}},
      {"{{{{{{", {}},
      {",,,,,,,", {}},
  };
  for (const auto& row : rows) EXPECT_EQ(NSRectFromString(row.text), row.expected) << row.text;
}

}  // namespace
}  // namespace vello
