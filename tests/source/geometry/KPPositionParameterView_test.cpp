#include "source/geometry/KPPositionParameterView.h"

#include "source/geometry/KPCategoryNSView.h"
#include "source/geometry/KPPanTracker.h"
#include "tests/source/geometry/canvas_fixture.h"

namespace vello {
namespace {

const CGAffineTransform kHalf{0.5, 0, 0, 0.5, 100, 50};  // the picture at half its size

class PositionView : public CanvasTest {
 protected:
  PositionView() {
    canvas_.addSubview(view_);
    view_.setTransform(kHalf);
    view_.bind(model_.property());
  }
  VectorModel model_{CIVector{200, 300}};
  KPPositionParameterView view_{"Blur Center", owner_};
};

TEST_F(PositionView, LiesAroundItsPlace) {
  EXPECT_EQ(view_.parameterLocation(), (CGPoint{200, 200}));
  // 11 characters of 6 points, and 30 for the handle.
  EXPECT_EQ(view_.frame(), rect(188, 188, 96, 24));
  EXPECT_EQ(view_.titlePosition(), (CGPoint{30, 6}));
  view_.setTransform({2, 0, 0, 2, 0, 0});
  EXPECT_EQ(view_.frame().origin, (CGPoint{388, 588}));
  view_.setTitle("Origin");
  EXPECT_EQ(view_.frame(), rect(388, 588, 66, 24));
  model_.property().setValue(CIVector{1, 2});
  EXPECT_EQ(view_.parameterLocation(), (CGPoint{2, 4}));
  view_.unbind();
  model_.property().setValue(CIVector{7, 7});
  EXPECT_EQ(view_.position(), (CGPoint{1, 2}));
}

TEST_F(PositionView, TheHandleIsHitButNotTheTitle) {
  EXPECT_EQ(view_.hitTest({188, 201}), &view_);
  EXPECT_EQ(view_.hitTest({211, 189}), &view_);
  EXPECT_EQ(view_.hitTest({213, 200}), nullptr);
  EXPECT_EQ(view_.hitTest({187, 200}), nullptr);
  EXPECT_EQ(view_.mouseOverCursor({200, 200}), KPCursor::pointingHandCursor);
  EXPECT_EQ(view_.mouseDownCursor({200, 200}), KPCursor::closedHandCursor);
}

TEST_F(PositionView, ADragMovesItAndWritesWhatValidationMakesOfIt) {
  model_.validate = wholeNumbers;
  const auto tracker = begin(view_, {205, 195});
  EXPECT_EQ(owner_.scrolls, 1);
  tracker->mouseDrag(at({205, 195}));
  EXPECT_EQ(model_.writes, 0) << "the mouse has not moved";
  tracker->mouseDrag(at({215.2, 195}));
  EXPECT_EQ(model_.value, (CIVector{220, 300}));
  EXPECT_EQ(view_.position(), (CGPoint{220, 300})) << "the handle follows the model";
  canvas_.setNeedsDisplay(false);
  tracker->mouseUp(at({215, 195}));
  EXPECT_EQ(model_.writes, 2);
  EXPECT_TRUE(canvas_.needsDisplay());
  canvas_.setNeedsDisplay(false);
  canvas_.slow = true;
  tracker->mouseUp(at({215, 195}));
  EXPECT_FALSE(canvas_.needsDisplay()) << "a slow canvas draws again by itself";
}

TEST_F(PositionView, ManySmallMovesEndWhereOneDoes) {
  model_.validate = wholeNumbers;  // each step is smaller than what it rounds to
  drag(view_, {200, 200}, {310.1, 77.7}, 1000);
  const CIVector slowly = model_.value;
  EXPECT_EQ(model_.writes, 1000);
  model_.property().setValue(CIVector{200, 300});
  drag(view_, {200, 200}, {310.1, 77.7});
  EXPECT_EQ(model_.value, slowly);
}

TEST_F(PositionView, WhereValidationRefusesTheHandleStaysWhereItWasDragged) {
  model_.validate = [](const Value&) { return std::nullopt; };
  drag(view_, {200, 200}, {210, 200});
  EXPECT_EQ(model_.value, (CIVector{200, 300}));
  EXPECT_EQ(view_.position(), (CGPoint{220, 300}));
}

TEST_F(PositionView, WhatIsNotFiniteChangesNothing) {
  const CGRect frame = view_.frame();
  view_.moveParameterTo({NAN, 0});
  view_.moveParameterTo({0, INFINITY});
  model_.property().setValue(CIVector{NAN, 1});
  for (const CGAffineTransform& t :
       {CGAffineTransform{0, 0, 0, 0, 5, 5}, CGAffineTransform{1, 1, 1, 1, 0, 0},
        CGAffineTransform{NAN, 0, 0, 1, 0, 0}, CGAffineTransform{INFINITY, 0, 0, INFINITY, 0, 0},
        CGAffineTransform{1, 0, 0, 1, -INFINITY, 0}})
    view_.setTransform(t);
  EXPECT_EQ(model_.writes, 1);
  EXPECT_EQ(view_.frame(), frame);
  ASSERT_EQ(log_.lines.size(), 8u);
  EXPECT_EQ(log_.lines[0], "*** Vello : Blur Center: a position that is not finite was refused");
  EXPECT_EQ(log_.lines[3],
            "*** Vello : Blur Center: a transform to the canvas that cannot be inverted was refused");
}

TEST_F(CanvasTest, PanningFollowsTheHand) {
  KPPanTracker tracker;
  tracker.setView(canvas_);
  canvas_.scrollPoint({50, 60});
  tracker.mouseDown({KPEventType::LeftMouseDown, {100, 100}});
  tracker.mouseDrag({KPEventType::LeftMouseDragged, {110, 100}});
  EXPECT_EQ(canvas_.scrollContentView().bounds().origin, (CGPoint{40, 60}));
  tracker.mouseDrag({KPEventType::LeftMouseDragged, {NAN, 100}});
  tracker.mouseUp({KPEventType::LeftMouseUp, {110, 107}});
  EXPECT_EQ(canvas_.scrollContentView().bounds().origin, (CGPoint{40, 53}));
  EXPECT_FALSE(tracker.wantsAutoScroll());
  EXPECT_EQ(log_.lines.size(), 1u);
}

TEST(PixelGrid, PlacesAreSnappedInWindowCoordinates) {
  KPWindow window(rect(0, 0, 100, 100));
  KPView view(rect(3.25, 0, 50, 50));
  window.contentView().addSubview(view);
  EXPECT_EQ(convertPointToCenteredWindowPoint(view, {10.2 - 3.25, 10.7}), (CGPoint{10.5, 10.5}));
  EXPECT_EQ(convertPointToCenteredWindowPoint(view, {6.75, 10}), (CGPoint{10.5, 10.5}));
  EXPECT_EQ(convertPointToCenteredWindowRect(view, {6.75, 10.4}, 4), rect(8.5, 8.5, 3, 3));
  EXPECT_EQ(convertPointToWindowRect(view, {6.75, 10.4}, 5), rect(8.5, 8.5, 4, 4));
  EXPECT_EQ(convertRectToWindowRect(view, rect(6.75, 10, 20, 5.2)), rect(10.5, 10.5, 20, 5));
}

TEST(KPPath, ARoundRectIsFourArcs) {
  using Element = KPPath::Element;
  EXPECT_EQ(KPPath::bezierPathWithRoundRect(rect(10, 20, 100, 50), 5).elements(),
            (std::vector<Element>{{Element::Arc, {15, 25}, 5, 180, 270},
                                  {Element::Arc, {105, 25}, 5, 270, 360},
                                  {Element::Arc, {105, 65}, 5, 0, 90},
                                  {Element::Arc, {15, 65}, 5, 90, 180},
                                  {Element::Close, {}}}));
}

}  // namespace
}  // namespace vello
