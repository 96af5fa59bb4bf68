#include "source/parameters/KPTransformParameterController.h"

#include <gtest/gtest.h>

#include "source/geometry/KPPositionParameterView.h"
#include "source/screen/KPLocalizedString.h"
#include "tests/source/parameters/controller_fixture.h"

namespace vello {
namespace {

constexpr FilterDef kClamp{"CIAffineClamp", "Affine Clamp", "Test", kControlInputs, Maker(&noPicture)};

struct Control {
  explicit Control(const char* filterName = "TestEveryControl") {
    controlFilter();  // registers it
    registerFilter(kClamp);
    filter = CIFilter::filterWithName(filterName);
    filter->setDefaults();
    controller = KPTransformParameterController::controllerForFilter(filter, "inputTransform");
  }
  CGAffineTransform transform() const { return *filter->valueForKey("inputTransform").transform(); }

  Canvas canvas{rect(0, 0, 600, 300)};
  std::shared_ptr<CIFilter> filter;
  std::unique_ptr<KPTransformParameterController> controller;
};

using C = KPTransformParameterController;

TEST(KPTransformParameterController, TypedNumbersAreClampedAndRoundedToThreeDecimals) {
  const struct {
    const char* name;
    KPEditBox& (C::*box)();
    const char* typed;
    float (C::*value)() const;
    float expected;
    const char* filter = "TestEveryControl";
  } rows[] = {
      {"small", &C::scaleEditBoxX, "0.2", &C::xScale, 0.2f},
      {"small, repeated edges", &C::scaleEditBoxX, "0.2", &C::xScale, 0.5f, "CIAffineClamp"},
      {"too small", &C::scaleEditBoxX, "0.0004", &C::xScale, 0.001f},
      {"mirrored", &C::scaleEditBoxY, "-3", &C::yScale, 0.001f},
      {"too large", &C::scaleEditBoxY, "7", &C::yScale, 5},
      {"many digits", &C::scaleEditBoxX, "1,23456", &C::xScale, 1.235f},
      {"a tie goes to zero", &C::scaleEditBoxX, "1.0125", &C::xScale, 1.012f},
      {"turned below zero", &C::rotateEditBox, "-10", &C::rotation, 0},
      {"turned too far", &C::rotateEditBox, "400", &C::rotation, 360},
      {"turned", &C::rotateEditBox, "30", &C::rotation, 30},
      {"skewed too far", &C::skewEditBox, "-91", &C::skew, -90},
      {"skewed", &C::skewEditBox, "45.67891", &C::skew, 45.679f},
      {"moved in whole pixels", &C::editBoxX, "12.5", &C::xValue, 13},
      {"moved out of the image", &C::editBoxY, "500", &C::yValue, 300},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Control control(row.filter);
    Changes changes;
    (*control.controller.*row.box)().userTyped(row.typed);
    EXPECT_EQ((*control.controller.*row.value)(), row.expected);
    EXPECT_EQ(changes.take(), std::vector<double>{kFast});
  }
}

TEST(KPTransformParameterController, SlidersAndEditBoxesShowTheSameNumbers) {
  const Control control;
  C& c = *control.controller;
  const std::string origin = KPLocalizedString("kKPImageFilter_OriginParameterLabel");
  EXPECT_NE(origin, "");
  EXPECT_EQ(c.label().text(), origin);
  EXPECT_EQ(c.geometryParameterView()->title(), "Every Control " + origin);
  const struct {
    const char* name;
    KPSlider& slider;
    KPEditBox& box;
    double low, high, initial, moved;
  } rows[] = {
      {"scale x", c.scaleSliderX(), c.scaleEditBoxX(), double{0.001f}, 5, 1, 2.5},
      {"scale y", c.scaleSliderY(), c.scaleEditBoxY(), double{0.001f}, 5, 1, 0.25},
      {"rotation", c.rotateSlider(), c.rotateEditBox(), 0, 360, 0, 90},
      {"skew", c.skewSlider(), c.skewEditBox(), -90, 90, 0, -30},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.slider.minValue(), row.low);
    EXPECT_EQ(row.slider.maxValue(), row.high);
    EXPECT_EQ(row.slider.doubleValue(), row.initial);
    row.slider.userMovedTo(row.moved);
    EXPECT_EQ(row.box.value().number(), row.moved);
    row.box.userEntered(row.initial);
    EXPECT_EQ(row.slider.doubleValue(), row.initial);
  }
  EXPECT_EQ(control.transform(), CGAffineTransform());
  c.scaleSliderX().userMovedTo(2.00049);
  EXPECT_EQ(c.xScale(), 2) << "a slider's number is rounded, too";
}

TEST(KPTransformParameterController, TheHandleMovesThePicture) {
  const Control control;
  auto& handle = dynamic_cast<KPPositionParameterView&>(*control.controller->geometryParameterView());
  handle.moveParameterTo({40.4, 700});
  EXPECT_EQ(control.transform(), (CGAffineTransform{1, 0, 0, 1, 40, 300}));
  EXPECT_EQ(control.controller->editBoxX().stringValue(), "40.00");
  EXPECT_EQ(handle.position(), (CGPoint{40, 300}));
}

TEST(KPTransformParameterController, ATransformFromElsewhereDoesNotReachTheControls) {
  const Control control;
  control.controller->scaleEditBoxX().userTyped("2");
  control.filter->setValueForKey(CGAffineTransform{3, 0, 0, 3, 7, 8}, "inputTransform");
  EXPECT_EQ(control.transform(), (CGAffineTransform{3, 0, 0, 3, 7, 8}));
  EXPECT_EQ(control.controller->scaleEditBoxX().stringValue(), "2.00");
  EXPECT_EQ(control.controller->editBoxX().stringValue(), "0.00");
}

}  // namespace
}  // namespace vello
