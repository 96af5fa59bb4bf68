#include <gmock/gmock.h>
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

using Controller = std::unique_ptr<KPCoreImageParameterController>;
using Make = std::function<Controller(std::shared_ptr<CIFilter>, std::string)>;

const CGRect kImage = rect(0, 0, 600, 300);

template <class C>
Controller make(std::shared_ptr<CIFilter> filter, std::string key) {
  return C::controllerForFilter(std::move(filter), std::move(key));
}

PropertyListDictionary written(const KPCoreImageParameterController& controller, const CGRect& imageRect) {
  PropertyListDictionary dict;
  controller.addValueToDict(dict, imageRect);
  return dict;
}

PropertyListDictionary entry(const char* key, PropertyList value) {
  PropertyListDictionary dict;
  dict.set(key, std::move(value));
  return dict;
}

// Every kind, a value from outside, and what is announced for it.
struct Kind {
  const char* key;
  Make make;
  Value outside;
  std::vector<double> delays;
};

std::vector<Kind> kinds() {
  const std::vector<double> twiceFast = {kFast, kFast};
  return {
      {"inputScalar", make<KPSliderParameterController>, 0.75, {kSlow}},
      {"inputScalar", make<KPDialParameterController>, 0.75, {kSlow}},
      {"inputBoolean", make<KPCheckboxParameterController>, false, {kFast}},
      // One for each of the two observations.
      {"inputColor", make<KPColorParameterController>, CIColor(0, 0, 1, 0.5), {kSlow, kSlow}},
      // One for the change and one for its write-back.
      {"inputPosition", make<KPVector2DParameterController>, CIVector{150, 75}, twiceFast},
      {"inputPosition3", make<KPVector3DParameterController>, CIVector{150, 75, 30}, twiceFast},
      {"inputOffset", make<KPOffsetParameterController>, CIVector{150, 75}, twiceFast},
      {"inputRectangle", make<KPRectParameterController>, CIVector{1, 2, 3, 4}, twiceFast},
      {"inputVector", make<KPVector4DParameterController>, CIVector{1, 2, 3, 4}, twiceFast},
      {"inputTransform", make<KPTransformParameterController>, CGAffineTransform{2, 0, 0, 2, 1, 1}, {kFast}},
  };
}

TEST(ParameterControllers, AnnounceAChangeFromOutsideUntilTheFilterLeaves) {
  const Canvas canvas(kImage);
  for (const Kind& kind : kinds()) {
    const auto filter = controlFilter();
    const auto controller = kind.make(filter, kind.key);
    Changes changes;
    filter->setValueForKey(kind.outside, kind.key);
    EXPECT_EQ(changes.take(), kind.delays) << kind.key;
    EXPECT_EQ(filter->valueForKey(kind.key), kind.outside) << kind.key;
    controller->removingFilter();
    filter->setDefaults();
    EXPECT_TRUE(changes.take().empty()) << kind.key;
  }
  EXPECT_TRUE(canvas.controls.empty());
}

TEST(ParameterControllers, ReadBackWhatTheyWrite) {
  const Canvas canvas(kImage);
  for (const Kind& kind : kinds()) {
    const auto filter = controlFilter(), other = controlFilter();
    const auto controller = kind.make(filter, kind.key), copy = kind.make(other, kind.key);
    filter->setValueForKey(kind.outside, kind.key);
    const PropertyListDictionary dict = written(*controller, kImage);
    copy->setValueFromDict(dict, kImage);
    EXPECT_EQ(PropertyList(written(*copy, kImage)), PropertyList(dict)) << kind.key;
    if (std::string(kind.key) == "inputTransform") continue;  // the filter's transform is never taken apart
    EXPECT_EQ(other->valueForKey(kind.key), kind.outside) << kind.key;
  }
}

TEST(ParameterControllers, AMissingEntryMakesANumberNilAndAVectorZero) {
  const Canvas canvas(kImage);
  for (const Kind& kind : kinds()) {
    const auto filter = controlFilter();
    const auto controller = kind.make(filter, kind.key);
    const Value former = filter->valueForKey(kind.key);
    controller->setValueFromDict({}, kImage);
    const Value& now = filter->valueForKey(kind.key);
    if (former.isNumber()) {
      EXPECT_TRUE(now.isNil()) << kind.key;
    } else if (former.vector()) {
      EXPECT_THAT(now.vector()->values(), ::testing::Each(0.0)) << kind.key;
    } else {
      EXPECT_EQ(now, former) << kind.key;
    }
  }
}

TEST(ParameterControllers, AnInputThatIsNilIsNeitherReadNorWritten) {
  for (const char* key : {"inputScalar", "inputVector"}) {
    const auto filter = controlFilter();
    const auto slider = make<KPSliderParameterController>(filter, key);
    const PropertyListDictionary dict = written(*slider, kImage);
    EXPECT_EQ(dict.size(), 1u) << key;
    filter->setValueForKey({}, key);
    slider->setValueFromDict(dict, kImage);
    EXPECT_TRUE(filter->valueForKey(key).isNil()) << key;
    EXPECT_TRUE(written(*slider, kImage).empty()) << key;
  }
}

TEST(ParameterControllers, NumbersKeepTheirKind) {
  struct Row {
    const char* name;
    PropertyList stored;
    Value set;
  };
  const Row rows[] = {
      {"real", 0.1, 0.1},
      {"integer", 7, 7},
      {"boolean", true, true},
      {"text", " 12.5 px", 12.5},
      {"text without a number", "px", 0.0},
      {"data", Data::fromText("5"), {}},
      {"array", PropertyListArray{1}, {}},
      {"dictionary", PropertyListDictionary(), {}},
  };
  for (const char* key : {"inputScalar", "inputInteger", "inputBoolean"})
    for (const Row& row : rows) {
      const auto filter = controlFilter();
      const auto controller = make<KPSliderParameterController>(filter, key);
      controller->setValueFromDict(entry(key, row.stored), kImage);
      EXPECT_EQ(filter->valueForKey(key), row.set) << key << " " << row.name;
      if (!row.stored.isNumber()) continue;
      EXPECT_EQ(PropertyList(written(*controller, kImage)), PropertyList(entry(key, row.stored)))
          << key << " " << row.name;
    }
}

TEST(ParameterControllers, SinglesAreWidenedInAChain) {
  const auto filter = controlFilter();
  const auto controller = make<KPSliderParameterController>(filter, "inputScalar");
  filter->setValueForKey(0.1f, "inputScalar");
  EXPECT_EQ(written(*controller, kImage).find("inputScalar")->number(), double{0.1f});
}

TEST(KPColorParameterController, TextSetsTheColourAndNothingElseDoes) {
  struct Row {
    const char* name;
    PropertyListDictionary dict;
    CIColor color;
  };
  const CIColor former(1, 0.5, 0.25, 1);
  const Row rows[] = {
      {"four numbers", entry("inputColor", "1 0.5 0 0.25"), {1, 0.5, 0, 0.25}},
      {"two numbers", entry("inputColor", "1 0.5"), {1, 0.5, 0, 1}},
      {"missing", {}, former},
      {"a number", entry("inputColor", 1), former},
      {"an array", entry("inputColor", PropertyListArray{1, 2, 3}), former},
  };
  for (const Row& row : rows) {
    const auto filter = controlFilter();
    const auto controller = make<KPColorParameterController>(filter, "inputColor");
    controller->setValueFromDict(row.dict, kImage);
    EXPECT_EQ(*filter->valueForKey("inputColor").color(), row.color) << row.name;
    EXPECT_EQ(*written(*controller, kImage).find("inputColor")->string(), row.color.stringRepresentation());
  }
}

TEST(KPColorParameterController, OpacityKeepsTheColour) {
  const auto filter = controlFilter();
  const auto controller = KPColorParameterController::controllerForFilter(filter, "inputColor");
  Changes changes;
  controller->setOpacity(0.25f);
  EXPECT_EQ(*filter->valueForKey("inputColor").color(), CIColor(1, 0.5, 0.25, 0.25));
  EXPECT_EQ(controller->opacity(), 0.25f);
  EXPECT_EQ(changes.take().size(), 2u);
}

TEST(PositionControllers, KeepThePositionInTheImageWhenMadeAndReset) {
  const Canvas canvas(rect(0, 0, 100, 60));
  const auto filter = controlFilter();
  const auto flat = make<KPVector2DParameterController>(filter, "inputPosition");
  const auto space = make<KPVector3DParameterController>(filter, "inputPosition3");
  EXPECT_EQ(canvas.controls.size(), 2u);
  const auto expectNearestEdges = [&] {
    EXPECT_EQ(*filter->valueForKey("inputPosition").vector(), (CIVector{100, 60}));
    EXPECT_EQ(*filter->valueForKey("inputPosition3").vector(), (CIVector{100, 60, 150}));
  };
  expectNearestEdges();
  filter->setDefaults();
  EXPECT_EQ(*filter->valueForKey("inputPosition").vector(), (CIVector{150, 150}));
  flat->reset();
  space->reset();
  expectNearestEdges();
}

TEST(PositionControllers, ReduceAValueOfAnotherLengthToTheirOwn) {
  const Canvas canvas(kImage);
  const auto filter = controlFilter();
  const auto flat = make<KPVector2DParameterController>(filter, "inputPosition");
  const auto space = make<KPVector3DParameterController>(filter, "inputPosition3");
  const auto offset = make<KPOffsetParameterController>(filter, "inputOffset");
  const auto rectangle = make<KPRectParameterController>(filter, "inputRectangle");
  for (const char* key : {"inputPosition", "inputPosition3", "inputOffset", "inputRectangle"})
    filter->setValueForKey(CIVector{1, 2, 3, 4, 5}, key);
  EXPECT_EQ(*filter->valueForKey("inputPosition").vector(), (CIVector{1, 2}));
  EXPECT_EQ(*filter->valueForKey("inputPosition3").vector(), (CIVector{1, 2, 3}));
  EXPECT_EQ(*filter->valueForKey("inputOffset").vector(), (CIVector{1, 2}));
  EXPECT_EQ(*filter->valueForKey("inputRectangle").vector(), (CIVector{1, 2, 3, 4}));
}

TEST(PositionControllers, SetOneComponentAndKeepTheOthers) {
  const Canvas canvas(kImage);
  const auto filter = controlFilter();
  const auto space = KPVector3DParameterController::controllerForFilter(filter, "inputPosition3");
  const auto four = KPVector4DParameterController::controllerForFilter(filter, "inputVector");
  const auto frame = KPRectParameterController::controllerForFilter(filter, "inputRectangle");
  space->setYValue(7);
  EXPECT_EQ(*filter->valueForKey("inputPosition3").vector(), (CIVector{400, 7, 150}));
  four->setWValue(0.123456f);
  EXPECT_EQ(*filter->valueForKey("inputVector").vector(), (CIVector{1, 0, 0, double{0.123456f}}));
  frame->setWidthValue(0.5f);
  EXPECT_EQ(*filter->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 0.5, 80}));
}

TEST(KPRectParameterController, ClipsTheRectangleToTheImage) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const auto filter = controlFilter();
  const auto controller = make<KPRectParameterController>(filter, "inputRectangle");
  EXPECT_EQ(*filter->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 200, 80}));

  const auto crop = CIFilter::filterWithName("CICrop");
  crop->setDefaults();
  const auto cropControl = make<KPRectParameterController>(crop, "inputRectangle");
  EXPECT_EQ(*crop->valueForKey("inputRectangle").vector(), (CIVector{0, 0, 200, 100}));
}

TEST(KPTransformParameterController, ComposesRotationScaleTranslationAndSkew) {
  const Canvas canvas(kImage);
  const auto filter = controlFilter();
  const auto controller = KPTransformParameterController::controllerForFilter(filter, "inputTransform");
  const auto transform = [&] { return *filter->valueForKey("inputTransform").transform(); };
  EXPECT_EQ(transform(), CGAffineTransform()) << "exactly the identity once made";

  controller->setSkew(45);
  EXPECT_NEAR(transform().c, 0.785398, 1e-6) << "the angle itself, not its tangent";
  controller->setSkew(0);
  controller->setRotation(90);  // shown; applied the other way round
  controller->setXScale(2);
  controller->setPositionValue({10, 20});
  EXPECT_EQ(CGPointApplyAffineTransform({0, 3}, transform()), (CGPoint{16, 20})) << "rotate, scale, move";
  controller->setSkew(static_cast<float>(180 / 3.14159265358979));  // a shear of 1
  const CGPoint sheared = CGPointApplyAffineTransform({0, 3}, transform());
  EXPECT_NEAR(sheared.x, 36, 1e-5) << "the shear acts on the translation";
  EXPECT_NEAR(sheared.y, 20, 1e-5);

  Changes changes;
  controller->reset();
  EXPECT_EQ(changes.take().size(), 5u);
  EXPECT_EQ(transform(), CGAffineTransform());
  EXPECT_EQ(controller->rotation(), 0);
}

TEST(KPTransformParameterController, TravelsAsSixNumbers) {
  const Canvas canvas(kImage);
  const auto filter = controlFilter();
  const auto controller = KPTransformParameterController::controllerForFilter(filter, "inputTransform");
  controller->setPositionValue({150, 75});
  controller->setXScale(2);
  controller->setRotation(30);
  const PropertyListDictionary dict = written(*controller, kImage);
  const PropertyListDictionary& values = *dict.find("inputTransform")->dictionary();
  const std::pair<const char*, double> expected[] = {{"tx", 0.25}, {"ty", 0.25}, {"sx", 2},
                                                     {"sy", 1},    {"r", 330},   {"sk", 0}};
  ASSERT_EQ(values.size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(values.members()[i].key, expected[i].first);
    EXPECT_EQ(values.members()[i].value, PropertyList(expected[i].second)) << expected[i].first;
  }

  const auto other = controlFilter();
  const auto copy = KPTransformParameterController::controllerForFilter(other, "inputTransform");
  copy->setValueFromDict(dict, rect(100, 0, 1200, 600));
  EXPECT_EQ(copy->positionValue(), (CGPoint{400, 150}));
  EXPECT_EQ(copy->rotation(), 30);
  copy->setValueFromDict(entry("inputTransform", "no dictionary"), rect(100, 50, 10, 10));
  EXPECT_EQ(copy->positionValue(), (CGPoint{100, 50}));
  EXPECT_EQ(copy->xScale(), 0);
  copy->setXScale(3);
  copy->setValueFromDict({}, kImage);
  EXPECT_EQ(copy->xScale(), 3) << "a missing entry changes nothing";
}

}  // namespace
}  // namespace vello
