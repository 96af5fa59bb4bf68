#include "source/geometry/KPRectParameterView.h"

#include <gmock/gmock.h>

#include "tests/source/geometry/canvas_fixture.h"

namespace vello {
namespace {

const CGAffineTransform kHalf{0.5, 0, 0, 0.5, 100, 50};  // the picture at half its size

// A rectangle of (100, 100, 400, 200) in the picture, (150, 100, 200, 100) on the canvas.
class RectView : public CanvasTest {
 protected:
  RectView() {
    canvas_.addSubview(view_);
    view_.setTransform(kHalf);
    view_.bind(model_.property());
  }
  CGRect value() const {
    const CIVector& v = model_.value;
    return rect(v.X(), v.Y(), v.Z(), v.W());
  }
  VectorModel model_{CIVector{100, 100, 400, 200}};
  KPRectParameterView view_{"Crop Area", false, owner_};
};

TEST_F(RectView, IsHitOnHandlesTabAndOutlineOnly) {
  const KPCursor hand = KPCursor::pointingHandCursor;
  const struct {
    const char* name;
    CGPoint point;
    bool hit;
    KPCursor over;
  } rows[] = {
      {"top left, at the lower edge", {150, 100}, true, KPCursor::resizeNESWCursor},
      {"bottom right, at the upper edge", {350, 200}, true, KPCursor::resizeNESWCursor},
      {"top right", {350, 100}, true, KPCursor::resizeNWSECursor},
      {"bottom left", {150, 200}, true, KPCursor::resizeNWSECursor},
      {"middle top", {250, 100}, true, KPCursor::resizeNSCursor},
      {"middle bottom", {250, 200}, true, KPCursor::resizeNSCursor},
      {"middle left", {150, 150}, true, KPCursor::resizeEWCursor},
      {"middle right", {350, 150}, true, KPCursor::resizeEWCursor},
      {"half a unit inside", {150.5, 130}, true, hand},
      {"half a unit outside", {180, 200.5}, true, hand},
      {"half a unit beside", {149.5, 130}, true, hand},
      {"two units inside", {152, 130}, false, hand},
      {"two units outside", {148, 130}, false, hand},
      {"the tab", {180, 210}, true, hand},
      {"beside the tab", {220, 210}, false, hand},
      {"the centre", {250, 150}, false, hand},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(view_.hitTest(row.point) != nullptr, row.hit) << row.name;
    EXPECT_EQ(view_.mouseOverCursor(row.point), row.over) << row.name;
    EXPECT_EQ(view_.mouseDownCursor(row.point), row.over == hand ? KPCursor::closedHandCursor : row.over);
  }
}

TEST_F(RectView, WhereHandlesOverlapTheFirstWins) {
  view_.setRectValue(rect(100, 100, 2, 2));
  const CGPoint inside = view_.convertPointFromView({150.5, 100.5}, &canvas_);
  EXPECT_EQ(view_.hitTestHandles(inside), kRectHandleTopLeft);
  EXPECT_EQ(view_.hitTest({150.5, 100.5}), &view_);
}

TEST_F(RectView, TheTabLiesAboveTheRectangleAndMayOverhang) {
  // The title is 9 characters of 6 points wide and 12 high; the canvas lies on whole pixels of the window.
  EXPECT_EQ(view_.frame().origin, (CGPoint{146.5, 96.5}));
  EXPECT_EQ(view_.frame().size.width, 208);
  EXPECT_EQ(view_.titlePosition(), (CGPoint{7.5, 110}));
  EXPECT_EQ(view_.titleTabBounds(), rect(4, 104, 62, 20));
  EXPECT_EQ(view_.outlineInWindow(), rect(170.5, 110.5, 200, 100));
  EXPECT_EQ(view_.handleSquareInWindow(kRectHandleTopLeft), rect(168.5, 108.5, 4, 4));
  EXPECT_EQ(view_.tabStrokePath().elements().back().point, (CGPoint{66, 104}));

  view_.setRectValue(rect(100, 100, 40, 200));
  EXPECT_EQ(view_.frame().size.width, 66.5);
  EXPECT_EQ(view_.tabStrokePath().elements().back().point, (CGPoint{23.5, 104}));
  const CGRect& tab = view_.titleTabBounds();
  EXPECT_GE(view_.frame().size.height, tab.origin.y + tab.size.height);
}

TEST_F(RectView, AResizeWritesOncePerEvent) {
  const struct {
    const char* name;
    CGPoint grip, to;
    CGRect expected;
  } rows[] = {
      {"lower left corner", {150, 100}, {160, 95}, rect(120, 90, 380, 210)},
      {"gripped beside its middle", {151, 101}, {161, 101}, rect(120, 100, 380, 200)},
      {"across the opposite corner", {150, 100}, {360, 210}, rect(500, 300, 20, 20)},
      {"right side", {350, 150}, {300, 999}, rect(100, 100, 300, 200)},
      {"outline moves it", {170, 100}, {180, 110}, rect(120, 120, 400, 200)},
      {"tab moves it", {180, 210}, {170, 210}, rect(80, 100, 400, 200)},
  };
  for (const auto& row : rows) {
    model_.property().setValue(CIVector{100, 100, 400, 200});
    model_.writes = 0;
    drag(view_, row.grip, row.to);
    EXPECT_EQ(value(), row.expected) << row.name;
    EXPECT_EQ(model_.writes, 1) << row.name;
  }
}

TEST_F(RectView, AThousandEventsLeaveNoDrift) {
  const CIVector start{100, 100, 400, 200};
  model_.validate = wholeNumbers;
  const auto tracker = begin(view_, {350, 200});
  for (int i = 1; i <= 999; ++i)  // a spiral across the opposite corner and back
    tracker->mouseDrag(at({350 + i * std::cos(i * 0.1), 200 + i * std::sin(i * 0.1)}));
  EXPECT_EQ(model_.writes, 999);
  EXPECT_NE(model_.value, start);
  tracker->mouseDrag(at({350, 200}));
  EXPECT_EQ(model_.value, start);
  tracker->mouseUp(at({350, 200}));
  EXPECT_EQ(model_.writes, 1000);
  EXPECT_EQ(owner_.scrolls, 1);

  model_.validate = [](const Value& v) { return v; };
  drag(view_, {350, 200}, {411.3, 177.7}, 1000);
  const CIVector slowly = model_.value;
  model_.property().setValue(start);
  drag(view_, {350, 200}, {411.3, 177.7});
  EXPECT_EQ(model_.value, slowly);
}

TEST_F(RectView, ShiftReversesWhetherTheRatioIsKept) {
  const struct {
    const char* name;
    bool keeps, shift;
    float ratio;
    CGRect expected;
  } rows[] = {
      {"free", false, false, 0, rect(100, 100, 200, 180)},
      {"shift locks the ratio at the start", false, true, 0, rect(100, 100, 200, 100)},
      {"keeping", true, false, 0, rect(100, 100, 200, 100)},
      {"keeping another ratio", true, false, 4, rect(100, 100, 200, 50)},
      {"shift frees", true, true, 0, rect(100, 100, 200, 180)},
  };
  for (const auto& row : rows) {
    VectorModel model(CIVector{100, 100, 400, 200});
    KPRectParameterView view("Picture", row.keeps, owner_);
    canvas_.addSubview(view);
    view.setTransform(kHalf);
    view.setAspectRatio(row.ratio);
    view.bind(model.property());
    const auto tracker = begin(view, {350, 200});
    tracker->mouseDrag(at({250, 190}, row.shift ? kShiftKeyMask : 0));
    EXPECT_EQ(view.rectValue(), row.expected) << row.name;
    tracker->mouseDrag(at({250, 190}, row.shift ? 0 : kShiftKeyMask));
    EXPECT_NE(view.rectValue(), row.expected) << row.name << ": the key alone counts";
    EXPECT_EQ(model.writes, 2) << row.name;
  }
}

TEST_F(RectView, StaysInsideItsConstraint) {
  view_.setConstrainingRect(rect(0, 0, 600, 320));
  drag(view_, {350, 200}, {900, 900});
  EXPECT_EQ(value(), rect(100, 100, 500, 220));

  model_.property().setValue(CIVector{100, 100, 400, 200});
  const auto tracker = begin(view_, {350, 200});
  tracker->mouseDrag(at({900, 900}, kShiftKeyMask));
  EXPECT_EQ(value(), rect(100, 100, 440, 220));

  model_.property().setValue(CIVector{100, 100, 400, 200});
  view_.setConstrainingRect({});
  drag(view_, {350, 200}, {900, 900});
  EXPECT_EQ(value(), rect(100, 100, 1500, 1600));
}

TEST_F(RectView, CursorRectanglesLieInTheAskedView) {
  KPView asked(rect(20, 10, 400, 300));  // as the canvas's window shows it
  window_.contentView().addSubview(asked);
  view_.resetCursorRectsForView(asked);
  ASSERT_EQ(asked.cursorRects().size(), 9u);
  EXPECT_EQ(asked.cursorRects()[0].rect.origin, view_.frame().origin);
  EXPECT_EQ(asked.cursorRects()[1].rect, rect(148.5, 98.5, 4, 4));
  EXPECT_EQ(asked.cursorRects()[2].cursor, KPCursor::resizeNSCursor);
}

TEST_F(RectView, WhatIsNotFiniteChangesNothing) {
  const std::string kNotFinite = "*** Vello : Crop Area: a rectangle that is not finite was refused";
  const std::string kBadRatio = "*** Vello : Crop Area: the aspect ratio -2 was refused";
  const auto tracker = begin(view_, {350, 200});
  tracker->mouseDrag(at({NAN, 200}));
  view_.moveParameterTo({0, -INFINITY});
  view_.setRectValue(rect(0, 0, NAN, 5));
  view_.setAspectRatio(-2);
  EXPECT_EQ(model_.writes, 0);
  EXPECT_EQ(view_.rectValue(), rect(100, 100, 400, 200));
  EXPECT_EQ(log_.lines, (std::vector<std::string>{kNotFinite, kNotFinite, kNotFinite, kBadRatio}));
  tracker->mouseDrag(at({360, 200}));
  EXPECT_EQ(value(), rect(100, 100, 420, 200));
}

TEST_F(RectView, AnEmptyRectangleIsResizedFreely) {
  for (const CIVector& empty :
       {CIVector{100, 100, 0, 0}, CIVector{100, 100, 0, 40}, CIVector{100, 100, 40, 0}}) {
    model_.property().setValue(empty);
    const auto tracker = begin(view_, {150, 100});
    tracker->mouseDrag(at({145, 90}, kShiftKeyMask));
    const CGRect r = value();
    EXPECT_TRUE(std::isfinite(r.origin.x + r.origin.y + r.size.width + r.size.height));
    EXPECT_EQ(r.origin, (CGPoint{90, 80}));
  }
  EXPECT_THAT(log_.lines,
              testing::Each(testing::HasSubstr("is empty, so its resizing keeps no aspect ratio")));
  EXPECT_EQ(log_.lines.size(), 3u);
}

}  // namespace
}  // namespace vello
