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
  KPCoreImageParameterController& controller(std::string_view key) const {
    for (KPCoreImageParameterController* controller : std::initializer_list<KPCoreImageParameterController*>{
             flat.get(), space.get(), offset.get(), four.get(), frame.get()})
      if (controller->key() == key) return *controller;
    throw std::out_of_range(std::string(key));
  }
  // In the order of the keyboard's focus.
  KPEditBox& box(std::string_view key, size_t index) const {
    KPControl* box = controller(key).firstEditBox();
    while (index-- > 0) box = box->nextKeyView();
    return dynamic_cast<KPEditBox&>(*box);
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

TEST(PlaceControls, TypedNumbersAreRoundedAndPlacesHeldInTheImageAndToldOnce) {
  const CGRect off = rect(-100, 50, 200, 100);
  const struct {
    const char *name, *key;
    size_t component;
    const char* typed;
    double value;
    CGRect image = kImage;
  } rows[] = {
      {"beyond the image", "inputPosition", 0, "700.4", 600},
      {"a half", "inputPosition", 0, "12.5", 13},
      {"before the image", "inputPosition", 0, "-3", 0},
      {"above the image", "inputPosition", 1, "1,000.00", 300},
      {"an image off the origin", "inputPosition", 0, "-80,2", -80, off},
      {"below it", "inputPosition", 1, "0", 50, off},
      {"a half below zero", "inputPosition", 0, "-80.5", -81, off},
      {"no image yet", "inputPosition", 0, "50", 0, CGRect()},
      {"one pixel", "inputPosition", 1, "7", 1, rect(0, 0, 1, 1)},
      {"a huge image", "inputPosition", 0, "29999.6", 30000, rect(0, 0, 30000, 30000)},
      {"3-D x", "inputPosition3", 0, "700.4", 600},
      {"3-D y", "inputPosition3", 1, "-1", 0},
      {"3-D z goes anywhere", "inputPosition3", 2, "-1000.5", -1001},
      {"offset", "inputOffset", 0, "-2.5", -3},
      {"offset beyond", "inputOffset", 1, "5000.4", 5000},
      {"4-D", "inputVector", 0, "0.123456", double{0.123456f}},
      {"4-D y", "inputVector", 1, "2", 2},
      {"4-D z", "inputVector", 2, "0.5", 0.5},
      {"4-D beyond", "inputVector", 3, "-1e6", -1e6},
      {"rect x", "inputRectangle", 0, "-20", -20},
      {"rect y", "inputRectangle", 1, "1e4", 1e4},
      {"rect w", "inputRectangle", 2, "10.5", 11},
      {"rect h below zero", "inputRectangle", 3, "-0.6", -1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Places places(row.image);
    std::vector<double> expected = places.vector(row.key).values();
    expected[row.component] = row.value;
    Changes changes;
    places.box(row.key, row.component).userTyped(row.typed);
    EXPECT_EQ(places.vector(row.key).values(), expected);
    EXPECT_EQ(changes.take(), std::vector<double>{kFast});
  }
}

TEST(PlaceControls, TheHandleMovesThePlaceInWholePixelsInsideTheImage) {
  Places places;
  const struct {
    const char* name;
    CGPoint to;
    CGPoint value;
    size_t told = 1;
  } rows[] = {
      {"halves", {10.5, -4}, {11, 0}},
      {"beyond", {601, 400}, {600, 300}},
      {"inside", {20.2, 30.8}, {20, 31}},
      {"nowhere", {NAN, 5}, {20, 31}, 0},
      {"infinitely far", {5, kInfinity}, {20, 31}, 0},
  };
  for (const auto& row : rows) {
    Changes changes;
    places.handle().moveParameterTo(row.to);
    EXPECT_EQ(places.flat->positionValue(), row.value) << row.name;
    EXPECT_EQ(places.handle().position(), row.value) << row.name;
    EXPECT_EQ(changes.take().size(), row.told) << row.name;
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
  places.space->geometryParameterView()->moveParameterTo({10.5, 20});
  EXPECT_EQ(places.vector("inputPosition3"), (CIVector{11, 20, 150})) << "z is kept";
  EXPECT_EQ(places.space->editBoxZ().stringValue(), "150.00");
}

TEST(PlaceControls, TheFrameOnTheCanvasIsTakenInWholePixels) {
  Places places;
  Changes changes;
  places.frameView().setDestinationRectValue(KPRectTemplate(3.4f, 7.6f, 100.5f, 40.49f));
  EXPECT_EQ(changes.take(), std::vector<double>{kFast});
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

TEST(PlaceControls, AVectorIsReducedToItsLengthAndEveryEditBoxShowsItsOwnNumber) {
  const Places places;
  const std::string shown[] = {"1.25", "-2.50", "3,000.50", "4.75"};
  const struct {
    const char* key;
    CIVector given, kept;
    std::vector<KPEditBox*> boxes;
  } rows[] = {
      {"inputPosition",
       {1.25, -2.5, 3000.5, 4.75, 9},
       {1.25, -2.5},
       {&places.flat->editBoxX(), &places.flat->editBoxY()}},
      {"inputPosition3",
       {1.25, -2.5, 3000.5, 4.75, 9},
       {1.25, -2.5, 3000.5},
       {&places.space->editBoxX(), &places.space->editBoxY(), &places.space->editBoxZ()}},
      {"inputOffset",
       {1.25, -2.5, 3000.5, 4.75, 9},
       {1.25, -2.5},
       {&places.offset->editBoxX(), &places.offset->editBoxY()}},
      {"inputRectangle",
       {1.25, -2.5, 3000.5, 4.75, 9},
       {1.25, -2.5, 3000.5, 4.75},
       {&places.frame->editBoxX(), &places.frame->editBoxY(), &places.frame->editBoxW(),
        &places.frame->editBoxH()}},
      {"inputVector",
       {1.25, -2.5, 3000.5, 4.75},
       {1.25, -2.5, 3000.5, 4.75},
       {&places.four->editBoxX(), &places.four->editBoxY(), &places.four->editBoxZ(),
        &places.four->editBoxW()}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key);
    places.filter->setValueForKey(row.given, row.key);
    EXPECT_EQ(places.vector(row.key), row.kept);
    for (size_t i = 0; i < row.boxes.size(); ++i) {
      EXPECT_EQ(&places.box(row.key, i), row.boxes[i]);
      EXPECT_EQ(row.boxes[i]->stringValue(), shown[i]);
    }
    EXPECT_EQ(places.controller(row.key).lastEditBox(), row.boxes.back());
  }
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

TEST_F(CanvasTest, AnImageKeepsItsProportionsAndARectangleDoesNot) {
  Places places(rect(0, 0, 1000, 1000));
  const auto image = KPImageParameterController::controllerForFilter(places.filter, "inputMaskImage");
  const auto plain = CIFilter::filterWithName("CIConstantColorGenerator");
  image->setImageParameterWithImage(plain->outputImage().imageByCroppingToRect(rect(0, 0, 200, 100)));
  image->setRectValue(rect(100, 100, 200, 100));
  places.frame->setRectValue(rect(100, 100, 200, 100));
  for (KPGeometryParameterView* view :
       {image->geometryParameterView(), places.frame->geometryParameterView()}) {
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
