#include "source/core/stack/KPFilterStack.h"

#include <gtest/gtest.h>

#include <new>

#include "engine/catalogue/registry.h"
#include "platform/exception.h"
#include "platform/run_loop.h"
#include "source/screen/notifications.h"
#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

CIImage output(const char* filter, std::initializer_list<std::pair<const char*, Value>> values) {
  const auto made = CIFilter::filterWithName(filter);
  made->setDefaults();
  for (const auto& [key, value] : values) made->setValueForKey(value, key);
  return made->outputImage();
}

CIImage over(const CIImage& image, const CIImage& background) {
  return output("CISourceOverCompositing", {{"inputImage", image}, {"inputBackgroundImage", background}});
}

// Filters of the tests' own: one that can make nothing of an unbounded image, and two that raise.
CIImage boundedOnly(const Values& v) {
  const CIImage image = v.image("inputImage");
  return isInfinite(image.extent()) ? CIImage() : image.imageByClampingToExtent();
}
CIImage raising(const Values&) { throw KPException("TestException", "as asked"); }
CIImage outOfMemory(const Values&) { throw std::bad_alloc(); }

constexpr InputDef kImageOnly[] = {image()};
constexpr FilterDef kTestFilters[] = {
    {"CITestBoundedOnly", "Bounded", "Blur", kImageOnly, boundedOnly},
    {"CITestRaising", "Raising", "Blur", kImageOnly, raising},
    {"CITestOutOfMemory", "Out Of Memory", "Blur", kImageOnly, outOfMemory},
};
struct StackTest : testing::Test {
  CIImage base = CIImage::imageWithBitmap(picture(60, 40));
  KPFilterStack stack{base};
  int changes = 0;
  Connection observer = NotificationCenter::defaultCenter().addObserver(
      KPFilterStackChangedNotification, &stack, [this](const Notification&) { ++changes; });
  CIImage background = output("CIConstantColorGenerator", {{"inputColor", CIColor(0, 0, 0, 0)}});

  static void SetUpTestSuite() {
    for (const FilterDef& filter : kTestFilters) registerFilter(filter);
  }
  void SetUp() override { stack.addFilter(KPFilterBoxController::backgroundColorFilter(true, stack)); }
  KPFilterBoxController& add(const char* name) {
    return stack.addFilterWithName(name, stack.filterArray().back().get());
  }
  const KPFilterBoxController* at(size_t index) { return stack.filterArray()[index].get(); }
};

TEST_F(StackTest, BoxesActOnWhatLiesBelowAndTheBackgroundComesLast) {
  EXPECT_EQ(stack.filterImage(), over(base, background));
  KPFilterBoxController& exposure = add("CIExposureAdjust");
  exposure.coreFilter()->setValueForKey(1.0, "inputEV");
  const CIImage brighter = output("CIExposureAdjust", {{"inputImage", base}, {"inputEV", 1.0}});
  EXPECT_EQ(stack.filterImage(), over(brighter, background));
  exposure.setEnabled(false);
  EXPECT_EQ(stack.filterImage(), over(base, background));
  EXPECT_TRUE(stack.failures().empty());
}

TEST_F(StackTest, AGeneratorLiesOverTheImageBelow) {
  auto& checkers = *add("CICheckerboardGenerator").coreFilter();
  EXPECT_EQ(stack.filterImage(), over(over(checkers.outputImage(), base), background));
}

TEST_F(StackTest, ATileEffectGetsAnUnboundedImageCropped) {
  add("CIAffineTile");
  const CIImage tiled = output("CIAffineTile", {{"inputImage", base}});
  EXPECT_EQ(stack.filterImage(), over(tiled, background)) << "a bounded image stays whole";
  stack.moveFilter(&add("CICheckerboardGenerator"), at(0), false);
  const CIImage below = over(stack.filterArray()[1]->coreFilter()->outputImage(), base);
  ASSERT_EQ(below.extent(), kInfiniteExtent);
  const CIImage tiles = output("CIAffineTile", {{"inputImage", below.imageByCroppingToRect(base.extent())}});
  EXPECT_EQ(stack.filterImage(), over(tiles, background));
}

TEST_F(StackTest, ACompositingFilterTakesTheImageBelowAsItsBackground) {
  auto& filter = *add("CIMultiplyCompositing").coreFilter();
  const CIImage foreground = CIImage::imageWithBitmap(picture(5, 5));
  filter.setValueForKey(foreground, "inputImage");
  const CIImage expected =
      output("CIMultiplyCompositing", {{"inputImage", foreground}, {"inputBackgroundImage", base}});
  EXPECT_EQ(stack.filterImage(), over(expected, background));
}

TEST_F(StackTest, AFilterThatFailsIsNamedAndSkipped) {
  add("CIMultiplyCompositing").coreFilter()->setValueForKey(Value(), "inputImage");
  add("CIExposureAdjust").coreFilter()->setValueForKey(1.0, "inputEV");
  const CIImage brighter = output("CIExposureAdjust", {{"inputImage", base}, {"inputEV", 1.0}});
  LogCapture log;
  EXPECT_EQ(stack.filterImage(), over(brighter, background));
  ASSERT_EQ(log.lines.size(), 2u);
  EXPECT_EQ(log.lines[0],
            "KPFilterStack::filterImage: filter named CIMultiplyCompositing caused an exception\n");
  EXPECT_EQ(log.lines[1], "KPFilterStackException : output of filter was nil\n");
  ASSERT_EQ(stack.failures().size(), 1u);
  EXPECT_EQ(stack.failures()[0].index, 1u);
  EXPECT_EQ(stack.failures()[0].filterName, "CIMultiplyCompositing");
  EXPECT_EQ(stack.failures()[0].reason, "output of filter was nil");
  stack.removeFilter(at(1));
  stack.filterImage();
  EXPECT_TRUE(stack.failures().empty()) << "only those of the latest";
}

TEST_F(StackTest, AFilterThatRaisesIsSkippedWithItsReason) {
  const struct {
    const char *filter, *line;
  } rows[] = {{"CITestRaising", "TestException : as asked\n"},
              {"CITestOutOfMemory", "std::exception : std::bad_alloc\n"}};
  for (const auto& row : rows) {
    LogCapture log;
    stack.replaceStackWithDataArray({stack.persistentDataArray().front()});
    add(row.filter);
    EXPECT_EQ(stack.filterImage(), over(base, background));
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[1], row.line);
  }
}

TEST_F(StackTest, AFilterThatNeedsABoundedImageGetsItsSecondChance) {
  add("CICheckerboardGenerator");
  const CIImage below = over(stack.filterArray()[1]->coreFilter()->outputImage(), base);
  add("CITestBoundedOnly");
  const CIImage clamped = below.imageByCroppingToRect(base.extent()).imageByClampingToExtent();
  EXPECT_EQ(stack.filterImage(), over(clamped, background));
  EXPECT_TRUE(stack.failures().empty());
}

TEST_F(StackTest, BoxesGoWhereTheyAreSent) {
  add("CIExposureAdjust");
  add("CIGammaAdjust");
  add("CIHueAdjust");
  const struct {
    const char* name;
    int box, after;  // -1: none
    const char* order;
  } moves[] = {
      {"forward: the index after the removal", 1, 2,
       "ConstantColorGenerator GammaAdjust ExposureAdjust HueAdjust"},
      {"backward", 3, 0, "ConstantColorGenerator HueAdjust GammaAdjust ExposureAdjust"},
      {"after itself", 2, 2, "ConstantColorGenerator HueAdjust GammaAdjust ExposureAdjust"},
      {"no box", -1, 1, "ConstantColorGenerator HueAdjust GammaAdjust ExposureAdjust"},
      {"after none: before the background", 2, -1,
       "GammaAdjust ConstantColorGenerator HueAdjust ExposureAdjust"},
  };
  for (const auto& move : moves) {
    stack.moveFilter(move.box < 0 ? nullptr : at(static_cast<size_t>(move.box)),
                     move.after < 0 ? nullptr : at(static_cast<size_t>(move.after)), false);
    EXPECT_EQ(names(stack), move.order) << move.name;
  }
  const KPFilterBoxController stranger("CIHueAdjust", stack);
  stack.addFilterWithName("CISepiaTone", &stranger);
  stack.addFilterWithName("CIColorInvert", at(0));
  EXPECT_EQ(names(stack),
            "GammaAdjust ColorInvert ConstantColorGenerator HueAdjust ExposureAdjust SepiaTone");
  stack.filterImage();  // whatever lies at index 0 serves as the background: nothing escapes
}

TEST_F(StackTest, DelayedMovesAreAnnouncedOnceTheLoopIsIdle) {
  KPFilterBoxController& a = add("CIExposureAdjust");
  KPFilterBoxController& b = add("CIGammaAdjust");
  changes = 0;
  for (const std::string_view mode : {kDefaultRunLoopMode, kModalPanelRunLoopMode}) {
    stack.moveFilter(&a, &b, true);
    stack.moveFilter(&b, &a, true);
    stack.moveFilter(&a, &b, true);
    EXPECT_EQ(changes, 0);
    RunLoop::current().runOnce(kEventTrackingRunLoopMode);
    EXPECT_EQ(changes, 0);
    RunLoop::current().runOnce(mode);
    RunLoop::current().runOnce(mode);
    EXPECT_EQ(changes, 1);
    changes = 0;
  }
}

TEST_F(StackTest, ReplacingRemovesAllButTheBackground) {
  for (const char* name : {"CIExposureAdjust", "CIGammaAdjust", "CIHueAdjust", "CISepiaTone"}) add(name);
  const PropertyListArray whole = stack.persistentDataArray();
  changes = 0;
  stack.replaceStackWithDataArray({whole.front()});
  EXPECT_EQ(changes, 4);
  EXPECT_EQ(names(stack), "ConstantColorGenerator");
  stack.replaceStackWithDataArray(whole);
  EXPECT_EQ(stack.persistentDataArray(), whole);
  stack.replaceStackWithDataArray({});
  EXPECT_EQ(stack.filterArray().size(), 5u);
  for (int i = 0; i < 6; ++i) stack.removeLastFilter();
  EXPECT_TRUE(stack.filterArray().empty()) << "the last goes with its kind";
  EXPECT_EQ(stack.filterImage(), base);
}

TEST_F(StackTest, ABoxsButtonsReachItsOwnStackOnly) {
  KPFilterStack other(base);
  KPFilterBoxController& box = add("CIGammaAdjust");
  add("CISepiaTone");
  box.coreFilter()->setValueForKey(3.0, "inputPower");
  box.setEnabled(false);
  box.add(true);
  EXPECT_EQ(names(stack), "ConstantColorGenerator GammaAdjust GammaAdjust SepiaTone");
  EXPECT_EQ(at(2)->coreFilter()->valueForKey("inputPower").number(), 3);
  EXPECT_TRUE(at(2)->enabled());
  box.close();
  EXPECT_EQ(names(stack), "ConstantColorGenerator GammaAdjust SepiaTone");
  EXPECT_TRUE(at(1)->enabled());
  EXPECT_TRUE(other.filterArray().empty());
}

}  // namespace
}  // namespace vello::test
