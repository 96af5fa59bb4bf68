#include "source/core/stack/KPFilterBoxController.h"

#include <gtest/gtest.h>

#include "platform/exception.h"
#include "platform/preferences.h"
#include "source/core/stack/host_defaults.h"
#include "source/parameters/KPDialParameterController.h"
#include "source/screen/notifications.h"
#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

struct BoxTest : testing::Test {
  KPFilterStack stack{CIImage::imageWithBitmap(picture(100, 50))};
  const CIColor& color(KPFilterBoxController& box, const char* key) {
    return *box.coreFilter()->valueForKey(key).color();
  }
};

std::string controlledKeys(const KPFilterBoxController& box) {
  std::string keys;
  for (const auto& controller : box.parameterControllers())
    keys += (keys.empty() ? "" : " ") + controller->key();
  return keys;
}

TEST_F(BoxTest, FlagsAndControlsFollowTheFilter) {
  const struct {
    const char *filter, *controls;
    bool generator, background, tile;
  } rows[] = {
      {"CIGaussianBlur", "inputRadius", false, false, false},
      {"CISourceOverCompositing", "inputImage", false, true, false},
      {"CIBlendWithMask", "inputImage inputMaskImage", false, true, false},
      {"CICheckerboardGenerator", "inputCenter inputColor0 inputColor1 inputWidth inputSharpness", true,
       false, false},
      {"CIAffineTile", "inputTransform", false, false, true},
      {"CIDissolveTransition", "inputTargetImage inputTime", false, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.filter);
    const KPFilterBoxController box(row.filter, stack);
    EXPECT_EQ(controlledKeys(box), row.controls);
    EXPECT_EQ(box.isGenerator(), row.generator);
    EXPECT_EQ(box.hasBackground(), row.background);
    EXPECT_EQ(box.isTileEffect(), row.tile);
    EXPECT_TRUE(box.enabled());
    EXPECT_EQ(box.title(), CIFilter::localizedNameForFilterName(row.filter));
  }
}

TEST_F(BoxTest, AnUnknownFilterRaisesWithItsName) {
  try {
    const KPFilterBoxController box("CINoSuchFilter", stack);
    FAIL() << "nothing raised";
  } catch (const KPException& e) {
    EXPECT_EQ(e.name(), "KPFilterBoxController Initialization Exception");
    EXPECT_EQ(e.reason(), "Could not create the given CI filter");
    EXPECT_EQ(*e.userInfo().find("CIFilterName"), PropertyList("CINoSuchFilter"));
  }
}

TEST_F(BoxTest, NewFiltersTakeTheHostsColours) {
  standardDefaults().set("frontColor", "1 0 0 1");
  standardDefaults().set("backColor", "0 0 1 0.5");
  KPFilterBoxController constant("CIConstantColorGenerator", stack), pair("CIFalseColor", stack);
  EXPECT_EQ(color(constant, "inputColor"), CIColor(1, 0, 0, 1));
  EXPECT_EQ(color(pair, "inputColor0"), CIColor(1, 0, 0, 1));
  EXPECT_EQ(color(pair, "inputColor1"), CIColor(0, 0, 1, 0.5));
  const auto background = KPFilterBoxController::backgroundColorFilter(true, stack);
  EXPECT_EQ(color(*background, "inputColor"), CIColor(0, 0, 0, 0)) << "the background has its own colour";
  standardDefaults().set("frontColor", PropertyList());
  standardDefaults().set("backColor", 7);  // no colour text
  KPFilterBoxController plain("CIFalseColor", stack);
  EXPECT_EQ(color(plain, "inputColor1"), CIColor(1, 0.9, 0.8, 1));
  standardDefaults().set("backColor", PropertyList());
}

TEST_F(BoxTest, EveryHostHasDefaultsOfItsOwn) {
  KPImageFilter::setHostApplicationID(2);
  EXPECT_EQ(&standardDefaults(), &Preferences::domain("host-IDCS2"));
  KPImageFilter::setHostApplicationID(77);
  EXPECT_EQ(&standardDefaults(), &Preferences::domain("host-standalone"));
  KPImageFilter::setHostApplicationID(0);
}

TEST_F(BoxTest, ResetGoesBackToTheFiltersDefaults) {
  KPFilterBoxController box("CIGaussianBlur", stack);
  box.coreFilter()->setValueForKey(3.0, "inputRadius");
  box.reset();
  EXPECT_EQ(box.coreFilter()->valueForKey("inputRadius").number(), 10);
  const auto background = KPFilterBoxController::backgroundColorFilter(true, stack);
  background->reset();
  EXPECT_EQ(color(*background, "inputColor"), CIColor(0, 0, 0, 1)) << "opaque, though it starts transparent";
}

TEST_F(BoxTest, EveryChangeIsAnnouncedOnceUntilTheBoxLeaves) {
  KPFilterBoxController box("CIGaussianBlur", stack);
  std::vector<const void*> senders;
  const Connection observer = NotificationCenter::defaultCenter().addObserver(
      KPFilterStackChangedNotification, nullptr, [&](const Notification& n) { senders.push_back(n.object); });
  box.setEnabled(false);
  EXPECT_EQ(senders, std::vector<const void*>{&box});
  box.coreFilter()->setValueForKey(3.0, "inputRadius");
  EXPECT_EQ(senders.size(), 2u);
  EXPECT_EQ(senders.back(), box.parameterControllers().front().get());
  box.removingFilter();
  box.coreFilter()->setValueForKey(4.0, "inputRadius");
  EXPECT_EQ(senders.size(), 2u);
}

TEST_F(BoxTest, NumbersAreShownInTheUnitsOfTheirKind) {
  const struct {
    const char *filter, *key;
    double value;
    const char* shown;
    double sliderMax;
  } rows[] = {
      {"CIDissolveTransition", "inputTime", 0.25, "25.00", 1},
      {"CIGaussianBlur", "inputRadius", 7.5, "7.50", 100},
      {"CIHueAdjust", "inputAngle", 0, "180.00", 360},                      // a dial: a full turn
      {"CITwirlDistortion", "inputAngle", 0.5235988, "30.00", 12.5663706},  // degrees
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.filter);
    KPFilterBoxController box(row.filter, stack);
    auto& slider = control<KPSliderParameterController>(box, row.key);
    box.coreFilter()->setValueForKey(row.value, row.key);
    EXPECT_EQ(slider.editBox().stringValue(), row.shown);
    EXPECT_NEAR(slider.slider().maxValue(), row.sliderMax, 1e-5);
  }
  KPFilterBoxController hue("CIHueAdjust", stack);
  auto& dial = control<KPDialParameterController>(hue, "inputAngle");
  dial.slider().userMovedTo(90.4);
  EXPECT_EQ(dial.editBox().stringValue(), "90.00") << "the dial turns in whole degrees";
  dial.editBox().userTyped("90,4");
  EXPECT_EQ(dial.editBox().stringValue(), "90.40") << "the edit box takes any";
}

TEST_F(BoxTest, TheKeyboardsFocusGoesRoundAllEditBoxes) {
  // Controls without an edit box are left out: a colour, an image.
  for (const char* filter : {"CICheckerboardGenerator", "CITwirlDistortion", "CIAffineTransform"}) {
    SCOPED_TRACE(filter);
    const KPFilterBoxController box(filter, stack);
    std::vector<const KPControl*> boxes;
    for (const auto& controller : box.parameterControllers()) {
      const KPControl* at = controller->firstEditBox();
      if (!at) continue;
      if (!boxes.empty()) {
        EXPECT_EQ(boxes.back()->nextKeyView(), at) << controller->key();
      }
      for (; at && at != controller->lastEditBox(); at = at->nextKeyView()) boxes.push_back(at);
      boxes.push_back(controller->lastEditBox());
    }
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(boxes.back()->nextKeyView(), boxes.front());
  }
}

TEST_F(BoxTest, TheAddButtonAsksForADuplicateWithTheOptionKey) {
  const KPFilterBoxController box("CIGaussianBlur", stack);
  std::string seen;
  NotificationCenter& center = NotificationCenter::defaultCenter();
  const auto note = [&](const Notification& n) { seen += n.name + (n.object == &box ? "; " : "?; "); };
  const Connection add = center.addObserver(KPAddFilterNotification, nullptr, note);
  const Connection duplicate = center.addObserver(KPDuplicateFilterNotification, nullptr, note);
  box.add(false);
  box.add(true);
  EXPECT_EQ(seen, "KPAddFilterNotification; KPDuplicateFilterNotification; ");
}

}  // namespace
}  // namespace vello::test
