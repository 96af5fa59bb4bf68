#include <gtest/gtest.h>

#include <functional>

#include "source/parameters/KPCheckboxParameterController.h"
#include "source/parameters/KPColorParameterController.h"
#include "source/parameters/KPDialParameterController.h"
#include "source/parameters/KPOffsetParameterController.h"
#include "source/parameters/KPRectParameterController.h"
#include "source/parameters/KPTransformParameterController.h"
#include "source/parameters/KPVector2DParameterController.h"
#include "source/parameters/KPVector3DParameterController.h"
#include "source/parameters/KPVector4DParameterController.h"
#include "tests/source/parameters/controller_fixture.h"

namespace vello {
namespace {

using Controller = KPCoreImageParameterController;

const CGRect kImage = rect(0, 0, 600, 300);

PropertyListDictionary written(const Controller& controller, const CGRect& imageRect = kImage) {
  PropertyListDictionary dict;
  controller.addValueToDict(dict, imageRect);
  return dict;
}

PropertyListDictionary entry(const char* key, PropertyList value) {
  PropertyListDictionary dict;
  dict.set(key, std::move(value));
  return dict;
}

// Every kind, a value from outside, what is announced for it, and what a user does with controls that are no
// edit boxes.
struct Kind {
  const char* key;
  Value outside;
  std::vector<double> delays;
  std::function<std::unique_ptr<Controller>(std::shared_ptr<CIFilter>, std::string)> make;
  std::function<void(Controller&)> act;
};

template <class C>
Kind kind(
    const char* key, Value outside, std::vector<double> delays, void (*act)(C&) = [](C&) {}) {
  return {key, std::move(outside), std::move(delays),
          [](auto filter, auto input) { return C::controllerForFilter(std::move(filter), std::move(input)); },
          [act](Controller& controller) { act(dynamic_cast<C&>(controller)); }};
}

std::vector<Kind> kinds() {
  // One for the change and one for its write-back.
  const std::vector<double> twiceFast = {kFast, kFast};
  return {
      kind<KPSliderParameterController>("inputScalar", 0.75, {kSlow},
                                        [](auto& c) { c.slider().userMovedTo(0.2); }),
      kind<KPCheckboxParameterController>("inputBoolean", false, {kFast},
                                          [](auto& c) { c.checkbox().userToggled(); }),
      // One for each of the two observations.
      kind<KPColorParameterController>("inputColor", CIColor(0, 0, 1, 0.5), {kSlow, kSlow},
                                       [](auto& c) {
                                         c.colorWell().userPicked({1, 1, 1, 1});
                                         c.opacitySlider().userMovedTo(0);
                                       }),
      kind<KPVector2DParameterController>("inputPosition", CIVector{150, 75}, twiceFast),
      kind<KPVector3DParameterController>("inputPosition3", CIVector{150, 75, 30}, twiceFast),
      kind<KPOffsetParameterController>("inputOffset", CIVector{150, 75}, twiceFast),
      kind<KPRectParameterController>("inputRectangle", CIVector{1, 2, 3, 4}, twiceFast),
      kind<KPVector4DParameterController>("inputVector", CIVector{1, 2, 3, 4}, twiceFast),
      kind<KPTransformParameterController>("inputTransform", CGAffineTransform{2, 0, 0, 2, 1, 1}, {kFast},
                                           [](auto& c) {
                                             for (KPSlider* slider : {&c.scaleSliderX(), &c.scaleSliderY(),
                                                                      &c.rotateSlider(), &c.skewSlider()})
                                               slider->userMovedTo(2);
                                           }),
  };
}

TEST(ParameterControllers, AnnounceAChangeFromOutsideAndAreBoundUntilTheFilterLeaves) {
  const Canvas canvas(kImage);
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.key);
    const auto filter = controlFilter();
    const auto controller = kind.make(filter, kind.key);
    Changes changes;
    filter->setValueForKey(kind.outside, kind.key);
    EXPECT_EQ(changes.take(), kind.delays);
    EXPECT_EQ(filter->valueForKey(kind.key), kind.outside);

    controller->removingFilter();
    kind.act(*controller);
    for (KPControl* box = controller->firstEditBox(); box; box = box->nextKeyView())
      dynamic_cast<KPEditBox&>(*box).userTyped("0.3");
    if (auto* placed = dynamic_cast<KPParameterViewControllerProtocol*>(controller.get()))
      if (auto* view = placed->geometryParameterView()) view->moveParameterTo({9, 9});
    EXPECT_EQ(filter->valueForKey(kind.key), kind.outside);
    filter->setDefaults();
    EXPECT_TRUE(changes.take().empty());
  }
  EXPECT_TRUE(canvas.controls.empty());
}

TEST(ParameterControllers, AnInputThatIsNilIsNeitherReadNorWritten) {
  for (const char* key : {"inputScalar", "inputVector"}) {
    const auto filter = controlFilter();
    const auto slider = KPSliderParameterController::controllerForFilter(filter, key);
    const PropertyListDictionary dict = written(*slider);
    EXPECT_EQ(dict.size(), 1u) << key;
    filter->setValueForKey({}, key);
    slider->setValueFromDict(dict, kImage);
    EXPECT_TRUE(filter->valueForKey(key).isNil()) << key;
    EXPECT_TRUE(written(*slider).empty()) << key;
  }
}

TEST(ParameterControllers, NumbersKeepTheirKind) {
  const auto filter = controlFilter();
  const struct {
    const char* name;
    PropertyList stored;
    Value set;
  } rows[] = {
      {"real", 0.1, 0.1},
      {"integer", 7, 7},
      {"boolean", true, true},
      {"data", Data::fromText("5"), {}},
      {"dictionary", PropertyListDictionary(), {}},
  };
  for (const char* key : {"inputScalar", "inputInteger", "inputBoolean"})
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(key) + " " + row.name);
      filter->setDefaults();
      const auto controller = KPSliderParameterController::controllerForFilter(filter, key);
      controller->setValueFromDict(entry(key, row.stored), kImage);
      EXPECT_EQ(filter->valueForKey(key), row.set);
      if (!row.set.isNil()) {
        EXPECT_EQ(written(*controller), entry(key, row.stored));
      }
    }
  const auto controller = KPSliderParameterController::controllerForFilter(filter, "inputScalar");
  filter->setValueForKey(0.1f, "inputScalar");
  EXPECT_EQ(written(*controller).find("inputScalar")->number(), double{0.1f}) << "a single is widened";
}

TEST(PlaceControllers, KeepTheirPlaceInTheImageWhenMadeAndReset) {
  const Canvas canvas(rect(0, 0, 100, 60));
  const auto filter = controlFilter(), crop = CIFilter::filterWithName("CICrop");
  crop->setDefaults();
  const auto flat = KPVector2DParameterController::controllerForFilter(filter, "inputPosition");
  const auto space = KPVector3DParameterController::controllerForFilter(filter, "inputPosition3");
  const auto frame = KPRectParameterController::controllerForFilter(filter, "inputRectangle");
  const auto cropFrame = KPRectParameterController::controllerForFilter(crop, "inputRectangle");
  EXPECT_EQ(canvas.controls.size(), 4u);
  EXPECT_EQ(*crop->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 100, 60}))
      << "what has no end is clipped";
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(*filter->valueForKey("inputPosition").vector(), (CIVector{100, 60}));
    EXPECT_EQ(*filter->valueForKey("inputPosition3").vector(), (CIVector{100, 60, 150}));
    EXPECT_EQ(*filter->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 100, 60}));
    filter->setDefaults();
    EXPECT_EQ(*filter->valueForKey("inputPosition").vector(), (CIVector{150, 150}));
    flat->reset();
    space->reset();
    frame->reset();
  }
  frame->setWidthValue(0.5f);
  EXPECT_EQ(*filter->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 0.5, 60}))
      << "only what is typed or dragged is rounded";
}

// On a picture of kImage.
struct Turning {
  CGAffineTransform transform() const { return *filter->valueForKey("inputTransform").transform(); }
  Canvas canvas{kImage};
  std::shared_ptr<CIFilter> filter = controlFilter();
  std::unique_ptr<KPTransformParameterController> controller =
      KPTransformParameterController::controllerForFilter(filter, "inputTransform");
};

TEST(KPTransformParameterController, ComposesRotationScaleTranslationAndSkew) {
  const Turning turning;
  KPTransformParameterController& controller = *turning.controller;
  EXPECT_EQ(turning.transform(), CGAffineTransform()) << "exactly the identity once made";
  controller.setSkew(45);
  EXPECT_NEAR(turning.transform().c, 0.785398, 1e-6) << "the angle itself, not its tangent";
  controller.setSkew(0);
  controller.setRotation(90);  // shown; applied the other way round
  controller.setXScale(2);
  controller.setPositionValue({10, 20});
  EXPECT_EQ(CGPointApplyAffineTransform({0, 3}, turning.transform()), (CGPoint{16, 20}))
      << "rotate, scale, move";
  controller.setSkew(static_cast<float>(180 / 3.14159265358979));  // a shear of 1
  const CGPoint sheared = CGPointApplyAffineTransform({0, 3}, turning.transform());
  EXPECT_NEAR(sheared.x, 36, 1e-5) << "the shear acts on the translation";
  EXPECT_NEAR(sheared.y, 20, 1e-5);

  Changes changes;
  controller.reset();
  EXPECT_EQ(changes.take().size(), 5u);
  EXPECT_EQ(turning.transform(), CGAffineTransform());
  EXPECT_EQ(controller.rotation(), 0);
}

TEST(KPTransformParameterController, TravelsAsSixNumbers) {
  const Turning turning, other;
  turning.controller->setPositionValue({150, 75});
  turning.controller->setXScale(2);
  turning.controller->setRotation(30);
  const PropertyListDictionary dict = written(*turning.controller);
  PropertyListDictionary expected;
  for (const auto& [key, value] : std::initializer_list<std::pair<const char*, double>>{
           {"tx", 0.25}, {"ty", 0.25}, {"sx", 2}, {"sy", 1}, {"r", 330}, {"sk", 0}})
    expected.set(key, value);
  EXPECT_EQ(dict, entry("inputTransform", expected));

  KPTransformParameterController& copy = *other.controller;
  copy.setValueFromDict(dict, rect(100, 0, 1200, 600));
  EXPECT_EQ(copy.positionValue(), (CGPoint{400, 150}));
  EXPECT_EQ(copy.rotation(), 30);
  copy.setValueFromDict(entry("inputTransform", "no dictionary"), rect(100, 50, 10, 10));
  EXPECT_EQ(copy.positionValue(), (CGPoint{100, 50}));
  EXPECT_EQ(copy.xScale(), 0);
  copy.setXScale(3);
  copy.setValueFromDict({}, kImage);
  EXPECT_EQ(copy.xScale(), 3) << "a missing entry changes nothing";
}

}  // namespace
}  // namespace vello
