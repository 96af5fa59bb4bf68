#include "source/parameters/KPSliderParameterController.h"

#include <gtest/gtest.h>

#include <cmath>

#include "source/parameters/KPCheckboxParameterController.h"
#include "source/parameters/KPColorParameterController.h"
#include "source/parameters/KPDialParameterController.h"
#include "source/parameters/number_transformers.h"
#include "tests/source/parameters/controller_fixture.h"

namespace vello {
namespace {

constexpr float kPi = 3.14159274f;

constexpr InputDef kNumberInputs[] = {
    scalar("inputFree", "Free", {.initial = 1}),
    scalar("inputBounded", "Bounded", {.initial = 1, .range = {0, 10}, .slider = {2, 8}}),
    scalar("inputSlider", "Slider", {.initial = 1, .slider = {2, 8}}),
    scalar("inputRange", "Range", {.initial = 1, .range = {0, 10}}),
    scalar("inputBackwards", "Backwards", {.initial = 1, .range = {10, 0}}),
    scalar("inputEpsilon", "Epsilon", {.initial = 0, .slider = {0, 1}}),
    scalar("inputLevels", "Levels", {.initial = 6, .slider = {2, 30}}),
    count("inputCount", "Count", {.initial = 3, .slider = {-5000, 5000}}),
    scalar("inputScale", "Scale", {.initial = 1, .range = {0, kNone}, .slider = {0, 4}}),
    distance("inputRadius", "Radius", {.initial = 10, .range = {0, kNone}, .slider = {0, 300}}),
    angle("inputAngle", "Angle", {.initial = 0, .slider = {0, 6.283185307179586}}),
};
constexpr Maker kMaker(&noPicture);
constexpr FilterDef kPlain{"TestNumbers", "Numbers", "Test", kNumberInputs, kMaker};
constexpr FilterDef kBlur{"TestBlur", "Blur", "Test Blur", kNumberInputs, kMaker};
constexpr FilterDef kEdgeWork{"CIEdgeWork", "Edge Work", "Test", kNumberInputs, kMaker};

std::shared_ptr<CIFilter> filterOf(const FilterDef& row) {
  registerFilter(row);
  auto filter = CIFilter::filterWithName(row.name);
  filter->setDefaults();
  return filter;
}

struct Control {
  explicit Control(const char* key, const FilterDef& row = kPlain)
      : filter(filterOf(row)), controller(KPSliderParameterController::controllerForFilter(filter, key)) {}
  const Value& value() const { return filter->valueForKey(controller->key()); }
  std::shared_ptr<CIFilter> filter;
  std::unique_ptr<KPSliderParameterController> controller;
};

TEST(KPSliderParameterController, TheSliderSpansItsRangeAndTypedNumbersTheirBounds) {
  const struct {
    const char* key;
    double sliderMin, sliderMax, typedMin, typedMax;
    const FilterDef& filter = kPlain;
  } rows[] = {
      {"inputFree", -65535, 65535, -65535, 65535},
      {"inputBounded", 2, 8, 0, 10},
      {"inputSlider", 2, 8, 2, 8},
      {"inputRange", 0, 10, 0, 10},
      {"inputBackwards", 0, 10, 10, 10},  // where the bounds cross, the lower one wins
      {"inputEpsilon", -2, 1, -2, 1},
      {"inputScale", 0, 4, double{0.05f}, 4},
      {"inputRadius", 0, 300, 0, 300},
      {"inputRadius", 0, 300, 0, 100, kBlur},
      {"inputScale", 0, 4, double{0.05f}, 4, kBlur},
      {"inputBounded", 2, 8, 0, 10, kBlur},
      {"inputRadius", 0, 300, 0, 100, kEdgeWork},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.key) + " of " + row.filter.name);
    const Control control(row.key, row.filter);
    EXPECT_EQ(control.controller->slider().minValue(), row.sliderMin);
    EXPECT_EQ(control.controller->slider().maxValue(), row.sliderMax);
    KPEditBox& box = control.controller->editBox();
    box.userTyped("-70000");
    EXPECT_EQ(control.value(), Value(static_cast<float>(row.typedMin)));
    box.userTyped("70000");
    EXPECT_EQ(control.value(), Value(static_cast<float>(row.typedMax)));
    control.controller->slider().userMovedTo(1e6);
    EXPECT_EQ(control.value(), Value(row.sliderMax)) << "the slider stops at its end";
  }
}

TEST(KPSliderParameterController, SliderAndEditBoxFollowOneAnotherAndEveryChangeIsToldOnce) {
  const Control control("inputBounded");
  EXPECT_EQ(control.controller->label().text(), "Bounded:");
  Changes changes;
  control.controller->slider().userMovedTo(2.3456);
  EXPECT_EQ(control.value(), Value(2.3456)) << "not rounded";
  EXPECT_EQ(control.controller->editBox().stringValue(), "2.35");
  EXPECT_EQ(changes.take(), std::vector<double>{kSlow});
  control.controller->editBox().userTyped("2.35");
  EXPECT_TRUE(changes.take().empty()) << "nothing was entered";
  control.controller->editBox().userTyped("3,5");
  EXPECT_EQ(control.value(), Value(3.5f));
  EXPECT_EQ(control.controller->slider().doubleValue(), 3.5);
  EXPECT_EQ(changes.take(), std::vector<double>{kSlow});
  control.filter->setValueForKey(5.0, "inputBounded");
  EXPECT_EQ(control.controller->editBox().stringValue(), "5.00");
  EXPECT_EQ(control.controller->slider().value(), Value(5.0));
}

TEST(KPSliderParameterController, WholeNumbersLoseTheirDecimalsOnlyBelowZero) {
  const struct {
    const char *key, *shown, *shownNegative;
  } rows[] = {{"inputCount", "1,234.00", "-1,234"}, {"inputBounded", "1,234.00", "-1,234.00"}};
  for (const auto& row : rows) {
    const Control control(row.key);
    control.filter->setValueForKey(1234, row.key);
    EXPECT_EQ(control.controller->editBox().stringValue(), row.shown);
    control.filter->setValueForKey(-1234, row.key);
    EXPECT_EQ(control.controller->editBox().stringValue(), row.shownNegative);
  }
  EXPECT_EQ(Control("inputLevels").controller->editBox().negativeFormat(), "-#,##0");
}

TEST(KPSliderParameterController, NumbersThatAreNoneChangeNothing) {
  const Control control("inputFree");
  Changes changes;
  for (const float hostile : {NAN, INFINITY, -INFINITY}) {
    control.controller->editBox().userEntered(hostile);
    control.controller->slider().userMovedTo(hostile);
  }
  control.controller->editBox().userTyped("1e300");
  EXPECT_TRUE(changes.take().empty());
  EXPECT_EQ(control.value(), Value(1.0));
  control.filter->setValueForKey(NAN, "inputFree");  // a chain may
  control.controller->editBox().userTyped("2");
  EXPECT_EQ(control.value(), Value(2.0f));
}

TEST(KPDialParameterController, TurnsInWholeDegreesBackwardsFromTheMaximum) {
  const auto filter = filterOf(kPlain);
  const auto rotation = [](bool discrete) {
    return std::make_shared<KPRotationValueTransformer>(0.0f, 2 * kPi, discrete);
  };
  const auto dial =
      KPDialParameterController::controllerForFilter(filter, "inputAngle", rotation(false), rotation(true));
  EXPECT_EQ(dial->slider().minValue(), 0);
  EXPECT_EQ(dial->slider().maxValue(), 360);
  EXPECT_EQ(dial->editBox().stringValue(), "360.00") << "no turn stands at the minimum";
  const auto radians = [&] { return filter->valueForKey("inputAngle").floatValue(); };
  const struct {
    const char* typed;
    float radians;
  } rows[] = {{"360", 2 * kPi}, {"0", 2 * kPi}, {"90", 1.5f * kPi}, {"400", 0}, {"-10", 2 * kPi}};
  for (const auto& row : rows) {
    dial->editBox().userTyped("180");
    dial->editBox().userTyped(row.typed);
    EXPECT_NEAR(radians(), row.radians, 1e-6) << row.typed;
  }
  dial->editBox().userTyped("89.6");
  EXPECT_EQ(dial->slider().value(), Value(90.0f)) << "the slider shows whole degrees";
}

TEST(KPCheckboxParameterController, SetsABoolean) {
  const auto filter = controlFilter();
  const auto controller = KPCheckboxParameterController::controllerForFilter(filter, "inputBoolean");
  EXPECT_EQ(controller->checkbox().title(), "Boolean");
  EXPECT_TRUE(controller->checkbox().isOn());
  EXPECT_EQ(controller->firstEditBox(), nullptr);
  Changes changes;
  controller->checkbox().userToggled();
  EXPECT_EQ(filter->valueForKey("inputBoolean"), Value(false));
  EXPECT_EQ(changes.take(), std::vector<double>{kFast});
}

TEST(KPColorParameterController, WellAndOpacityShowOneColour) {
  const auto filter = controlFilter();
  const auto controller = KPColorParameterController::controllerForFilter(filter, "inputColor");
  EXPECT_EQ(controller->label().text(), "Color:");
  EXPECT_EQ(controller->colorWell().color(), CIColor(1, 0.5, 0.25, 1));
  EXPECT_EQ(controller->opacitySlider().doubleValue(), 1);
  Changes changes;
  controller->opacitySlider().userMovedTo(0.25);
  EXPECT_EQ(controller->colorWell().color(), CIColor(1, 0.5, 0.25, 0.25));
  EXPECT_EQ(changes.take(), (std::vector<double>{kSlow, kSlow}));
  controller->colorWell().userPicked({0, 0, 1, 0.75});
  EXPECT_EQ(*filter->valueForKey("inputColor").color(), CIColor(0, 0, 1, 0.75));
  EXPECT_EQ(controller->opacitySlider().doubleValue(), 0.75);
  changes.take();
  controller->colorWell().userPicked({NAN, 0, 1, 1});
  controller->opacitySlider().userMovedTo(-INFINITY);
  EXPECT_TRUE(changes.take().empty());
}

}  // namespace
}  // namespace vello
