// Places, offsets, rectangles and vectors: typed into edit boxes and dragged on the canvas.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "source/geometry/KPPositionParameterView.h"
#include "source/geometry/KPRectParameterView.h"
#include "source/parameters/KPImageParameterController.h"
#include "source/parameters/KPOffsetParameterController.h"
#include "source/parameters/KPRectParameterController.h"
#include "source/parameters/KPVector2DParameterController.h"
#include "source/parameters/KPVector3DParameterController.h"
#include "source/parameters/KPVector4DParameterController.h"
#include "tests/source/parameters/controller_fixture.h"

namespace vello {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const CGRect kImage = rect(0, 0, 600, 300);

// One controller of every kind on a filter of its own; the canvas answers with `bounds`.
struct Places {
  explicit Places(const CGRect& bounds = kImage) : canvas(bounds) {}
  const CIVector& vector(const char* key) const { return *filter->valueForKey(key).vector(); }
  KPPositionParameterView& handle() {
    return dynamic_cast<KPPositionParameterView&>(*flat->geometryParameterView());
  }
  KPRectParameterView& frameView() {
    return dynamic_cast<KPRectParameterView&>(*frame->geometryParameterView());
  }

  Canvas canvas;
  std::shared_ptr<CIFilter> filter = controlFilter();
  std::unique_ptr<KPVector2DParameterController> flat =
      KPVector2DParameterController::controllerForFilter(filter, "inputPosition");
  std::unique_ptr<KPVector3DParameterController> space =
      KPVector3DParameterController::controllerForFilter(filter, "inputPosition3");
  std::unique_ptr<KPOffsetParameterController> offset =
      KPOffsetParameterController::controllerForFilter(filter, "inputOffset");
  std::unique_ptr<KPVector4DParameterController> four =
      KPVector4DParameterController::controllerForFilter(filter, "inputVector");
  std::unique_ptr<KPRectParameterController> frame =
      KPRectParameterController::controllerForFilter(filter, "inputRectangle");
};

TEST(PlaceControls, TypedNumbersAreRoundedAndPlacesHeldInTheImage) {
  using Box = std::function<KPEditBox&(Places&)>;
  const Box flatX = [](Places& p) -> KPEditBox& { return p.flat->editBoxX(); };
  const Box flatY = [](Places& p) -> KPEditBox& { return p.flat->editBoxY(); };
  const Box spaceX = [](Places& p) -> KPEditBox& { return p.space->editBoxX(); };
  const Box spaceY = [](Places& p) -> KPEditBox& { return p.space->editBoxY(); };
  const Box spaceZ = [](Places& p) -> KPEditBox& { return p.space->editBoxZ(); };
  const Box offsetX = [](Places& p) -> KPEditBox& { return p.offset->editBoxX(); };
  const Box offsetY = [](Places& p) -> KPEditBox& { return p.offset->editBoxY(); };
  const Box fourX = [](Places& p) -> KPEditBox& { return p.four->editBoxX(); };
  const Box fourW = [](Places& p) -> KPEditBox& { return p.four->editBoxW(); };
  const Box frameX = [](Places& p) -> KPEditBox& { return p.frame->editBoxX(); };
  const Box frameY = [](Places& p) -> KPEditBox& { return p.frame->editBoxY(); };
  const Box frameW = [](Places& p) -> KPEditBox& { return p.frame->editBoxW(); };
  const Box frameH = [](Places& p) -> KPEditBox& { return p.frame->editBoxH(); };
  const struct {
    const char* name;
    Box box;
    const char *typed, *key;
    int component;
    double value;
    CGRect image = kImage;
  } rows[] = {
      {"beyond the image", flatX, "700.4", "inputPosition", 0, 600},
      {"a half", flatX, "12.5", "inputPosition", 0, 13},
      {"before the image", flatX, "-3", "inputPosition", 0, 0},
      {"above the image", flatY, "1,000.00", "inputPosition", 1, 300},
      {"an image off the origin", flatX, "-80,2", "inputPosition", 0, -80, rect(-100, 50, 200, 100)},
      {"below it", flatY, "0", "inputPosition", 1, 50, rect(-100, 50, 200, 100)},
      {"a half below zero", flatX, "-80.5", "inputPosition", 0, -81, rect(-100, 50, 200, 100)},
      {"no image yet", flatX, "50", "inputPosition", 0, 0, CGRect()},
      {"one pixel", flatY, "7", "inputPosition", 1, 1, rect(0, 0, 1, 1)},
      {"a huge image", flatX, "29999.6", "inputPosition", 0, 30000, rect(0, 0, 30000, 30000)},
      {"3-D x", spaceX, "700.4", "inputPosition3", 0, 600},
      {"3-D y", spaceY, "-1", "inputPosition3", 1, 0},
      {"3-D z goes anywhere", spaceZ, "-1000.5", "inputPosition3", 2, -1001},
      {"offset", offsetX, "-2.5", "inputOffset", 0, -3},
      {"offset beyond", offsetY, "5000.4", "inputOffset", 1, 5000},
      {"4-D", fourX, "0.123456", "inputVector", 0, double{0.123456f}},
      {"4-D beyond", fourW, "-1e6", "inputVector", 3, -1e6},
      {"rect x", frameX, "-20", "inputRectangle", 0, -20},
      {"rect y", frameY, "1e4", "inputRectangle", 1, 1e4},
      {"rect w", frameW, "10.5", "inputRectangle", 2, 11},
      {"rect h below zero", frameH, "-0.6", "inputRectangle", 3, -1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Places places(row.image);
    std::vector<double> expected = places.vector(row.key).values();
    expected[static_cast<size_t>(row.component)] = row.value;
    row.box(places).userTyped(row.typed);
    EXPECT_EQ(places.vector(row.key).values(), expected);
  }
}

TEST(PlaceControls, TheHandleMovesThePlaceInWholePixelsInsideTheImage) {
  Places places;
  const struct {
    const char* name;
    CGPoint to;
    CGPoint value;
  } rows[] = {
      {"halves", {10.5, -4}, {11, 0}},
      {"beyond", {601, 400}, {600, 300}},
      {"inside", {20.2, 30.8}, {20, 31}},
      {"nowhere", {NAN, 5}, {20, 31}},
      {"infinitely far", {5, kInfinity}, {20, 31}},
  };
  for (const auto& row : rows) {
    places.handle().moveParameterTo(row.to);
    EXPECT_EQ(places.flat->positionValue(), row.value) << row.name;
    EXPECT_EQ(places.handle().position(), row.value) << row.name;
  }
  Places left(rect(-100, 50, 200, 100));
  left.handle().moveParameterTo({-80.5, 60});
  EXPECT_EQ(left.flat->positionValue(), (CGPoint{-81, 60})) << "halves go away from zero";
  EXPECT_EQ(places.handle().title(), "Every Control Position");
  EXPECT_EQ(places.handle().constrainingRect(), kImage);
  EXPECT_EQ(places.flat->editBoxX().stringValue(), "20.00");
  places.flat->editBoxY().userTyped("99");
  EXPECT_EQ(places.handle().position(), (CGPoint{20, 99}));
  places.filter->setValueForKey(CIVector{5.25, 7.5}, "inputPosition");
  EXPECT_EQ(places.handle().position(), (CGPoint{5.25, 7.5})) << "a chain's place is not rounded";
  EXPECT_EQ(places.flat->editBoxX().stringValue(), "5.25");
}

TEST(PlaceControls, AHandleInSpaceKeepsItsZ) {
  Places places;
  auto& handle = dynamic_cast<KPPositionParameterView&>(*places.space->geometryParameterView());
  handle.moveParameterTo({10.5, 20});
  EXPECT_EQ(places.vector("inputPosition3"), (CIVector{11, 20, 150}));
  EXPECT_EQ(places.space->editBoxZ().stringValue(), "150.00");
}

TEST(PlaceControls, TheFrameOnTheCanvasIsTakenInWholePixels) {
  Places places;
  places.frameView().setDestinationRectValue(KPRectTemplate(3.4f, 7.6f, 100.5f, 40.49f));
  EXPECT_EQ(places.vector("inputRectangle"), (CIVector{3, 8, 101, 40}));
  EXPECT_EQ(places.frameView().rectValue(), rect(3, 8, 101, 40));
  EXPECT_EQ(places.frame->editBoxW().stringValue(), "101.00");
  EXPECT_EQ(places.frameView().title(), "Every Control Rectangle");
  EXPECT_EQ(places.frameView().constrainingRect(), kImage);
  places.frame->editBoxX().userTyped("-20");
  EXPECT_EQ(places.frameView().rectValue(), rect(-20, 8, 101, 40)) << "a typed rectangle may leave the image";
  places.frame->reset();
  EXPECT_EQ(places.vector("inputRectangle"), (CIVector{0, 8, 81, 40}));
}

TEST(PlaceControls, EveryEditBoxShowsItsOwnNumber) {
  Places places;
  for (const char* key : {"inputPosition", "inputPosition3", "inputOffset", "inputRectangle", "inputVector"})
    places.filter->setValueForKey(CIVector{1.25, -2.5, 3000.5, 4.75}, key);
  const std::string numbers[] = {"1.25", "-2.50", "3,000.50", "4.75"};
  const std::pair<KPCoreImageParameterController*, size_t> rows[] = {{places.flat.get(), 2},
                                                                     {places.space.get(), 3},
                                                                     {places.offset.get(), 2},
                                                                     {places.frame.get(), 4},
                                                                     {places.four.get(), 4}};
  for (const auto& [controller, count] : rows) {
    KPControl* box = controller->firstEditBox();
    for (size_t i = 0; i < count; ++i, box = box->nextKeyView())
      EXPECT_EQ(dynamic_cast<KPEditBox&>(*box).stringValue(), numbers[i]) << controller->key();
    EXPECT_EQ(box, nullptr) << controller->key();
  }
}

TEST(PlaceControls, EveryWayOfSettingAPlaceIsToldOnce) {
  Places places;
  Changes changes;
  const std::function<void()> ways[] = {
      [&] { places.flat->editBoxX().userTyped("44"); },
      [&] {
        places.handle().moveParameterTo({45, 46});
      },
      [&] { places.space->editBoxZ().userTyped("47"); },
      [&] { places.offset->editBoxX().userTyped("48"); },
      [&] { places.four->editBoxZ().userTyped("0.5"); },
      [&] { places.frame->editBoxH().userTyped("49"); },
      [&] { places.frameView().setDestinationRectValue(KPRectTemplate(1, 2, 3, 4)); },
      [&] {
        places.flat->setPositionValue({1, 1});
      },
  };
  for (size_t i = 0; i < std::size(ways); ++i) {
    ways[i]();
    EXPECT_EQ(changes.take(), std::vector<double>{kFast}) << i;
  }
}

TEST(PlaceControls, NothingIsLeftBoundWhenTheFilterLeaves) {
  Places places;
  KPCoreImageParameterController* const controllers[] = {
      places.flat.get(), places.space.get(), places.offset.get(), places.four.get(), places.frame.get()};
  for (auto* controller : controllers) controller->removingFilter();
  EXPECT_TRUE(places.canvas.controls.empty());
  const auto former = places.filter->valueForKey("inputPosition");
  Changes changes;
  places.handle().moveParameterTo({1, 2});
  places.frameView().setDestinationRectValue(KPRectTemplate(1, 2, 3, 4));
  for (auto* controller : controllers)
    for (KPControl* box = controller->firstEditBox(); box; box = box->nextKeyView())
      dynamic_cast<KPEditBox&>(*box).userTyped("77");
  EXPECT_TRUE(changes.take().empty());
  EXPECT_EQ(places.filter->valueForKey("inputPosition"), former);
  EXPECT_EQ(places.vector("inputVector"), (CIVector{1, 0, 0, 0}));
}

TEST(PlaceControls, AFilterOnTheCanvasAsksForItsBox) {
  Places places;
  struct Stack : KPView {
    Stack() : KPView(rect(0, 0, 100, 1000)) {}
    void scrollRectToVisible(const CGRect& shown) override { asked = shown; }
    CGRect asked;
  } stack;
  KPView box(rect(0, 500, 100, 80));
  stack.addSubview(box);
  places.handle().scrollToVisibleInStack();
  EXPECT_EQ(stack.asked, CGRect()) << "not in a box yet";
  box.addSubview(places.flat->parameterView());
  places.handle().scrollToVisibleInStack();
  EXPECT_EQ(stack.asked, rect(0, 500, 100, 80));
}

using PlaceDrag = CanvasTest;

TEST_F(PlaceDrag, AThousandEventsOnAHandleLeaveNoDrift) {
  Places places(rect(0, 0, 1000, 1000));
  places.frame->setRectValue(rect(100, 100, 200, 150));
  KPRectParameterView& view = places.frameView();
  canvas_.addSubview(view);
  Changes changes;
  const auto tracker = begin(view, {300, 250});
  for (int i = 1; i <= 1000; ++i) tracker->mouseDrag(at({300 + 200 * std::sin(0.1 * i), 250 + 0.3 * i}));
  tracker->mouseDrag(at({300, 250}));
  tracker->mouseUp(at({300, 250}));
  EXPECT_EQ(places.vector("inputRectangle"), (CIVector{100, 100, 200, 150}));
  EXPECT_LE(changes.take().size(), 1002u) << "an event writes once";
}

TEST_F(PlaceDrag, AnImageKeepsItsProportionsAndARectangleDoesNot) {
  Places places(rect(0, 0, 1000, 1000));
  const auto image = KPImageParameterController::controllerForFilter(places.filter, "inputMaskImage");
  const auto plain = CIFilter::filterWithName("CIConstantColorGenerator");
  image->setImageParameterWithImage(plain->outputImage().imageByCroppingToRect(rect(0, 0, 200, 100)));
  image->setRectValue(rect(100, 100, 200, 100));
  places.frame->setRectValue(rect(100, 100, 200, 100));
  KPGeometryParameterView* const views[] = {image->geometryParameterView(), &places.frameView()};
  for (KPGeometryParameterView* view : views) {
    canvas_.addSubview(*view);
    drag(*view, {300, 200}, {500, 210});
    view->removeFromSuperview();
  }
  EXPECT_EQ(image->rectValue().origin, (CGPoint{100, 100}));
  EXPECT_FLOAT_EQ(KPRectTemplate(image->rectValue()).Width(), 220);
  EXPECT_FLOAT_EQ(KPRectTemplate(image->rectValue()).Height(), 110);
  EXPECT_EQ(places.frame->rectValue(), rect(100, 100, 400, 110));
}

}  // namespace
}  // namespace vello
