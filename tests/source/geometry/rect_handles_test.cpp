#include <gtest/gtest.h>

#include <cmath>

#include "source/geometry/KPRectTemplate.h"
#include "tests/source/geometry/geometry_printing.h"

namespace vello {
namespace {

const KPRectTemplate kRect(10, 10, 100, 50);

TEST(RectHandles, CornersAreHitInOpenZones) {
  const struct {
    const char* name;
    KPRectTemplate rect;
    KPPointTemplate point;
    KPRectHandle handle;
  } rows[] = {
      {"top left", kRect, {14.9f, 7.1f}, kRectHandleTopLeft},
      {"top right", kRect, {112.9f, 14}, kRectHandleTopRight},
      {"bottom left", kRect, {8, 62}, kRectHandleBottomLeft},
      {"bottom right", kRect, {106, 56}, kRectHandleBottomRight},
      {"on the inner border", kRect, {15, 10}, kRectHandleNone},
      {"on the outer border", kRect, {10, 7}, kRectHandleNone},
      {"an edge's middle", kRect, {60, 10}, kRectHandleNone},
      {"the left edge", kRect, {10, 35}, kRectHandleNone},
      {"narrow: left wins", {10, 10, 4, 50}, {13, 10}, kRectHandleTopLeft},
      {"narrow, in the left zone only: right is not tried", {10, 10, 4, 50}, {13, 35}, kRectHandleNone},
      {"low: top wins", {10, 10, 100, 4}, {109, 13}, kRectHandleTopRight},
  };
  for (const auto& row : rows) EXPECT_EQ(row.rect.GetHandle(row.point, 5, 3), row.handle) << row.name;
}

TEST(RectHandles, StandOnCornersAndMiddles) {
  const struct {
    KPRectHandle handle, opposite;
    CGPoint point;
  } rows[] = {
      {kRectHandleTopLeft, kRectHandleBottomRight, {10, 10}},
      {kRectHandleTopRight, kRectHandleBottomLeft, {110, 10}},
      {kRectHandleBottomLeft, kRectHandleTopRight, {10, 60}},
      {kRectHandleBottomRight, kRectHandleTopLeft, {110, 60}},
      {kRectHandleMiddleTop, kRectHandleMiddleBottom, {60, 10}},
      {kRectHandleMiddleBottom, kRectHandleMiddleTop, {60, 60}},
      {kRectHandleMiddleLeft, kRectHandleMiddleRight, {10, 35}},
      {kRectHandleMiddleRight, kRectHandleMiddleLeft, {110, 35}},
      {kRectHandleNone, kRectHandleNone, {10, 10}},
      {static_cast<KPRectHandle>(9), kRectHandleNone, {10, 10}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CGPoint(kRect.GetHandlePoint(row.handle)), row.point) << row.handle;
    EXPECT_EQ(CGPoint(kRect.GetOppositeHandlePoint(row.opposite)), row.point) << row.handle;
  }
}

TEST(RectHandles, ADragMovesItsEdgesAndCrossesTheOppositeOnes) {
  const struct {
    const char* name;
    KPRectHandle handle, dragged;
    KPPointTemplate to;
    CGRect expected;
  } rows[] = {
      {"top left", kRectHandleTopLeft, kRectHandleTopLeft, {20, 5}, rect(20, 5, 90, 55)},
      {"onto the far corner", kRectHandleTopLeft, kRectHandleTopLeft, {110, 60}, rect(110, 60, 0, 0)},
      {"top left, right", kRectHandleTopLeft, kRectHandleTopRight, {150, 20}, rect(110, 20, 40, 40)},
      {"top left, down", kRectHandleTopLeft, kRectHandleBottomLeft, {20, 80}, rect(20, 60, 90, 20)},
      {"top left, both", kRectHandleTopLeft, kRectHandleBottomRight, {150, 80}, rect(110, 60, 40, 20)},
      {"top right", kRectHandleTopRight, kRectHandleTopRight, {120, 20}, rect(10, 20, 110, 40)},
      {"top right, left", kRectHandleTopRight, kRectHandleTopLeft, {0, 20}, rect(0, 20, 10, 40)},
      {"top right, down", kRectHandleTopRight, kRectHandleBottomRight, {90, 80}, rect(10, 60, 80, 20)},
      {"top right, both", kRectHandleTopRight, kRectHandleBottomLeft, {0, 80}, rect(0, 60, 10, 20)},
      {"bottom left", kRectHandleBottomLeft, kRectHandleBottomLeft, {20, 50}, rect(20, 10, 90, 40)},
      {"bottom left, up", kRectHandleBottomLeft, kRectHandleTopLeft, {20, 0}, rect(20, 0, 90, 10)},
      {"bottom left, right", kRectHandleBottomLeft, kRectHandleBottomRight, {130, 50}, rect(110, 10, 20, 40)},
      {"bottom left, both", kRectHandleBottomLeft, kRectHandleTopRight, {130, 0}, rect(110, 0, 20, 10)},
      {"bottom right", kRectHandleBottomRight, kRectHandleBottomRight, {50, 50}, rect(10, 10, 40, 40)},
      {"bottom right, up", kRectHandleBottomRight, kRectHandleTopRight, {50, 0}, rect(10, 0, 40, 10)},
      {"bottom right, left", kRectHandleBottomRight, kRectHandleBottomLeft, {0, 50}, rect(0, 10, 10, 40)},
      {"bottom right, both", kRectHandleBottomRight, kRectHandleTopLeft, {0, 0}, rect(0, 0, 10, 10)},
      {"middle top", kRectHandleMiddleTop, kRectHandleMiddleTop, {999, 20}, rect(10, 20, 100, 40)},
      {"middle top, down", kRectHandleMiddleTop, kRectHandleMiddleBottom, {0, 70}, rect(10, 60, 100, 10)},
      {"middle bottom, up", kRectHandleMiddleBottom, kRectHandleMiddleTop, {0, 0}, rect(10, 0, 100, 10)},
      {"middle left", kRectHandleMiddleLeft, kRectHandleMiddleLeft, {30, 999}, rect(30, 10, 80, 50)},
      {"middle left, right", kRectHandleMiddleLeft, kRectHandleMiddleRight, {130, 0}, rect(110, 10, 20, 50)},
      {"middle right, left", kRectHandleMiddleRight, kRectHandleMiddleLeft, {0, 0}, rect(0, 10, 10, 50)},
      {"none", kRectHandleNone, kRectHandleNone, {0, 0}, kRect},
  };
  for (const auto& row : rows) {
    KPRectTemplate r = kRect;
    EXPECT_EQ(r.MoveHandle(row.handle, row.to), row.dragged) << row.name;
    EXPECT_EQ(CGRect(r), row.expected) << row.name;
  }
}

TEST(RectHandles, ADragKeepsTheRatio) {
  const struct {
    const char* name;
    KPRectHandle handle;
    KPPointTemplate to;
    CGRect expected;
    float ratio = 2;
  } rows[] = {
      {"corner, too wide", kRectHandleBottomRight, {210, 60}, rect(10, 10, 100, 50)},
      {"corner, too high", kRectHandleBottomRight, {50, 60}, rect(10, 10, 40, 20)},
      {"top left keeps bottom right", kRectHandleTopLeft, {70, 10}, rect(70, 40, 40, 20)},
      {"top right keeps bottom left", kRectHandleTopRight, {50, 10}, rect(10, 40, 40, 20)},
      {"bottom left keeps top right", kRectHandleBottomLeft, {10, 30}, rect(70, 10, 40, 20)},
      {"top: centred, bottom stays", kRectHandleMiddleTop, {0, 40}, rect(40, 40, 40, 20)},
      {"bottom: centred, top stays", kRectHandleMiddleBottom, {0, 30}, rect(40, 10, 40, 20)},
      {"left: centred, right stays", kRectHandleMiddleLeft, {70, 0}, rect(70, 25, 40, 20)},
      {"right: centred, left stays", kRectHandleMiddleRight, {50, 0}, rect(10, 25, 40, 20)},
      {"crossed over", kRectHandleTopLeft, {150, 20}, rect(110, 40, 40, 20)},
      {"no ratio", kRectHandleBottomRight, {50, 30}, rect(10, 10, 40, 20), 0},
      {"ratio of an empty rectangle", kRectHandleBottomRight, {50, 30}, rect(10, 10, 40, 20), NAN},
      {"infinite ratio", kRectHandleMiddleTop, {50, 30}, rect(10, 30, 100, 30), INFINITY},
  };
  for (const auto& row : rows) {
    KPRectTemplate r = kRect;
    r.MoveHandle(row.handle, row.to, row.ratio);
    EXPECT_EQ(CGRect(r), row.expected) << row.name;
  }
}

TEST(RectHandles, ADragKeepsTheRatioInsideBounds) {
  const KPRectTemplate wide(0, 0, 400, 400), low(0, 0, 400, 80), slim(5, 0, 110, 400), tight(0, 5, 400, 60);
  const struct {
    const char* name;
    KPRectHandle handle;
    KPPointTemplate to;
    KPRectTemplate bounds;
    CGRect expected;
  } rows[] = {
      {"room enough", kRectHandleBottomRight, {210, 110}, wide, rect(10, 10, 200, 100)},
      {"the point is clamped first", kRectHandleBottomRight, {900, 900}, low, rect(10, 10, 140, 70)},
      {"top left", kRectHandleTopLeft, {-90, -40}, wide, rect(0, 5, 110, 55)},
      {"bottom, out on both sides", kRectHandleMiddleBottom, {0, 110}, slim, rect(5, 10, 110, 55)},
      {"top, out on both sides", kRectHandleMiddleTop, {0, 0}, slim, rect(5, 5, 110, 55)},
      {"right, out on both sides", kRectHandleMiddleRight, {210, 0}, tight, rect(10, 5, 120, 60)},
      {"left, out on both sides", kRectHandleMiddleLeft, {0, 0}, tight, rect(0, 7.5, 110, 55)},
      // A fixed edge beyond the bounds cannot be helped: narrower by what the height lost.
      {"top is out", kRectHandleMiddleBottom, {0, 60}, {0, 20, 400, 400}, rect(15, 10, 90, 40)},
      {"bottom is out", kRectHandleMiddleTop, {0, 10}, {0, 0, 400, 50}, rect(15, 20, 90, 40)},
      {"right is out", kRectHandleMiddleLeft, {10, 0}, {0, 0, 90, 400}, rect(30, 15, 80, 40)},
  };
  for (const auto& row : rows) {
    KPRectTemplate r = kRect;
    r.MoveHandle(row.handle, row.to, 2, row.bounds);
    EXPECT_EQ(CGRect(r), row.expected) << row.name;
  }
}

TEST(RectHandles, ARectangleTurnedInsideOutStaysHarmless) {
  for (int handle = kRectHandleNone; handle <= kRectHandleMiddleRight; ++handle)
    for (const KPPointTemplate to :
         {KPPointTemplate(-200, 200), KPPointTemplate(0, 0), KPPointTemplate(5, -90)})
      for (const KPRectTemplate& given : {KPRectTemplate(10, 10, -50, -50), KPRectTemplate(10, 10, 0, -5)}) {
        KPRectTemplate r = given;
        r.MoveHandle(static_cast<KPRectHandle>(handle), to);
        r.MoveHandle(static_cast<KPRectHandle>(handle), to, 2, {0, 0, 50, 50});
        EXPECT_TRUE(std::isfinite(r.Left() + r.Top() + r.Width() + r.Height()));
      }
}

}  // namespace
}  // namespace vello
