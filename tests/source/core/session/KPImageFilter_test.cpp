#include "source/core/session/KPImageFilter.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "platform/exception.h"
#include "platform/preferences.h"
#include "platform/thread_dictionary.h"
#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

std::vector<uint8_t> bytesOf(const std::optional<Data>& data) {
  return data ? std::vector<uint8_t>(data->data(), data->data() + data->size()) : std::vector<uint8_t>();
}

TEST(Session, WhatCountsAsTransparentDependsOnTheDoor) {
  for (uint32_t alpha = 1; alpha <= 6; ++alpha) {
    const auto s = KPImageFilter::imageFilterWithCGImage({picture(4, 4, AlphaInfo{alpha}), 3});
    EXPECT_EQ(s->windowController().transparentBackground(), alpha < 5) << alpha;
    EXPECT_EQ(s->windowController().renderingIntent(), 3);
  }
  const Data pixels(std::vector<uint8_t>(4 * 4 * 4, 200));
  for (const int type : {0, 1, 2, 3}) {
    const auto s = KPImageFilter::imageFilterWithData(pixels, type, 4, 4, 1, ColorSpace::sRGB());
    EXPECT_EQ(s->windowController().transparentBackground(), type == 1 || type == 2) << type;
    EXPECT_EQ(s->windowController().sourceExtent(), (CGRect{{0, 0}, {4, 4}}));
  }
}

TEST(Session, FilesOpenWithTheirOwnSpace) {
  const std::string path = kOwnPreferences.folder() + "/p3.png";
  const Bitmap source = picture(6, 5, AlphaInfo::last, ColorSpace::named("Display P3"));
  ASSERT_EQ(writePNG(path, source), "");
  const auto s = KPImageFilter::imageFilterWithFileAtPath(path);
  EXPECT_TRUE(s->windowController().transparentBackground());
  EXPECT_EQ(s->windowController().sourceExtent(), (CGRect{{0, 0}, {6, 5}}));
  EXPECT_EQ(s->windowController().colorSpace()->profile(), source.space()->profile());
}

TEST(Session, ASourceWithoutPixelsIsAnAssertionFailure) {
  LogCapture log;
  EXPECT_THROW(KPImageFilter::imageFilterWithFileAtPath("/no/such/file.tif"), KPException);
  EXPECT_TRUE(log.has("/no/such/file.tif"));
  const Data few(std::vector<uint8_t>(10));
  EXPECT_THROW(KPImageFilter::imageFilterWithData(few, 1, 4, 4, 0, nullptr), KPException);
  EXPECT_THROW(KPImageFilter::imageFilterWithData(few, 1, SIZE_MAX, SIZE_MAX, 0, nullptr), KPException);
  EXPECT_THROW(KPImageFilter::imageFilterWithCGImage({}), KPException);
}

TEST(Session, AChainThatChangesNothingGivesTheSourcesBytes) {
  const Bitmap source = picture(37, 23);
  const std::vector<uint8_t> expected(source.row(0), source.row(0) + 37 * 4 * 23);
  const std::optional<std::string> chains[] = {
      std::nullopt, "", "garbage", chain(""),
      chain(box("CIExposureAdjust", entry("inputEV", "<real>0</real>")))};
  for (const auto& text : chains) {
    LogCapture log;
    const auto s = KPImageFilter::imageFilterWithCGImage({source, 0});
    EXPECT_EQ(bytesOf(s->filterResultForChain(text)), expected) << text.value_or("no chain");
  }
}

TEST(Session, TheBackgroundShowsThroughWhereNothingLies) {
  const Bitmap clear(layoutOf(3, 2, 4, AlphaInfo::premultipliedLast), ColorSpace::sRGB(),
                     Data(std::vector<uint8_t>(3 * 2 * 4)));
  const auto s = KPImageFilter::imageFilterWithCGImage({clear, 0});
  const auto result = bytesOf(s->filterResultForChain(
      plist("<array>" + box("CIConstantColorGenerator", entry("inputColor", "<string>1 0 0 1</string>")) +
            "</array>")));
  std::vector<uint8_t> red;
  for (int i = 0; i < 6; ++i) red.insert(red.end(), {255, 0, 0, 255});
  EXPECT_EQ(result, red);
}

TEST(Session, ReversedPixelsComeOutInOrder) {
  PixelLayout layout = layoutOf(1, 1, 4, AlphaInfo::premultipliedLast);
  layout.pixelBytesReversed = true;
  const Bitmap source(layout, nullptr, Data(std::vector<uint8_t>{255, 30, 20, 10}));
  const auto s = KPImageFilter::imageFilterWithCGImage({source, 0});
  EXPECT_EQ(bytesOf(s->filterResultForChain(std::nullopt)), (std::vector<uint8_t>{10, 20, 30, 255}));
}

TEST(Session, ResultsLeaveInAnRGBSpace) {
  const auto p3 = ColorSpace::named("Display P3");
  const auto rgb = KPImageFilter::imageFilterWithCGImage({picture(4, 4, AlphaInfo::last, p3), 0});
  LogCapture log;
  const auto own = rgb->windowController().bitmapContextWithFilterResult();
  ASSERT_TRUE(own);
  EXPECT_EQ(own->space, p3);
  EXPECT_EQ(log.lines.size(), 0u);
  const Bitmap source(layoutOf(4, 4, 1, AlphaInfo::none), ColorSpace::named("generic gray"),
                      Data(std::vector<uint8_t>(16, 128)));
  const auto converted =
      KPImageFilter::imageFilterWithCGImage({source, 0})->windowController().bitmapContextWithFilterResult();
  ASSERT_TRUE(converted);
  EXPECT_EQ(converted->space, ColorSpace::sRGB());
  EXPECT_EQ(converted->pixels.size(), 64u);
  EXPECT_EQ(converted->layout.bytesPerRow, 16);
  EXPECT_EQ(log.lines.size(), 1u);
}

TEST(Session, AResultBeyond2GiBIsRefused) {
  // Times 4 bytes is one more than a signed 32-bit number holds.
  const PixelLayout grey = layoutOf(32768, 16384, 1, AlphaInfo::none);
  const size_t size = size_t{32768} * 16384;
  void* pages = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  const std::shared_ptr<const void> owner(pages, [size](void* p) { munmap(p, size); });
  const Bitmap huge(grey, nullptr, owner, static_cast<const uint8_t*>(pages));
  LogCapture log;
  EXPECT_FALSE(KPImageFilter::imageFilterWithCGImage({huge, 0})->filterResultForChain(chain("")));
  EXPECT_TRUE(log.has("2 GiB"));
  EXPECT_FALSE(KPImageFilter::init()->filterResultForChain(chain(""))) << "an empty image has no pixels";
}

TEST(Session, SettingsReachTheController) {
  const auto s = session(8, 8);
  s->setDefaultURL(std::nullopt);
  EXPECT_FALSE(s->windowController().resultImagePath());
  s->setDefaultURL("/tmp/photo.tif");
  s->setDefaultURL(std::nullopt);
  EXPECT_EQ(s->windowController().resultImagePath(), "/tmp/photo.tif");
  EXPECT_EQ(s->windowController().imageView().runLoopMode(), kModalPanelRunLoopMode);
  s->setRunLoopMode(1);
  EXPECT_EQ(s->windowController().imageView().runLoopMode(), kDefaultRunLoopMode);
}

TEST(Session, TheThreadDictionaryGivesTheFirstFilterAndTakesTheLastStack) {
  setThreadDictionaryValue("TSCurrentFilterName", std::string("CISepiaTone"));
  const auto s = session(8, 8);
  setThreadDictionaryValue("TSCurrentFilterName", {});
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator SepiaTone");
  s->windowController().apply();
  const std::any kept = threadDictionaryValue("TSLastFilterParamKey");
  ASSERT_NE(std::any_cast<PropertyListArray>(&kept), nullptr);
  EXPECT_EQ(std::any_cast<PropertyListArray>(kept),
            s->windowController().filterStack().persistentDataArray());
}

TEST(Session, TheThreadDictionaryGivesTheContextsSpaces) {
  const ColorSpacePtr p3 = ColorSpace::named("Display P3");
  setThreadDictionaryValue("kCIContextWorkingColorSpace", p3);
  EXPECT_EQ(KPImageFilterWindowController::contextOptions().workingColorSpace, p3);
  setThreadDictionaryValue("kCIContextOutputColorSpace", ColorSpace::named("generic gray"));
  EXPECT_EQ(KPImageFilterWindowController::contextOptions().outputColorSpace, nullptr);
  setThreadDictionaryValue("kCIContextWorkingColorSpace", {});
  setThreadDictionaryValue("kCIContextOutputColorSpace", p3);
  const auto result = session(4, 4)->windowController().bitmapContextWithFilterResult();
  setThreadDictionaryValue("kCIContextOutputColorSpace", {});
  ASSERT_TRUE(result);
  EXPECT_EQ(result->space, p3);
}

TEST(Session, SessionsOnOneThreadDoNotDisturbEachOther) {
  const auto alone = session(300, 200);
  alone->windowController().filterStack().addFilterWithName("CITwirlDistortion", nullptr);
  const auto expected = alone->windowController().filterChainAsString();
  const auto before = session(10, 10);
  const auto between = session(300, 200);
  const auto after = session(10, 10);
  between->windowController().filterStack().addFilterWithName("CITwirlDistortion", nullptr);
  EXPECT_EQ(between->windowController().filterChainAsString(), expected);
}

TEST(Session, PresetsComeFromThePlugInsOwnPreferences) {
  Preferences& preferences = Preferences::domain("effects");
  EXPECT_EQ(KPImageFilter::presetNames(), std::vector<std::string>());
  const auto writer = session(8, 8);
  writer->windowController().filterStack().addFilterWithName("CISepiaTone", nullptr);
  const auto preset = [&](const char* name) {
    PropertyListDictionary entries;
    entries.set("KPPresetName", name);
    entries.set("KPFilterStack", writer->windowController().filterStack().persistentDataArray());
    return PropertyList(entries);
  };
  PropertyListDictionary nameless;
  nameless.set("KPFilterStack", PropertyListArray());
  preferences.set("KPImageFilterPresets", PropertyListArray{preset("Cool"), nameless, 3, preset("sepia")});
  EXPECT_EQ(KPImageFilter::presetNames(), (std::vector<std::string>{"Cool", "sepia"}));
  const auto s = session(8, 8);
  s->applyPreset("cool");
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator")
      << "names are case-sensitive";
  s->applyPreset("sepia");
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator SepiaTone");
  preferences.set("KPImageFilterPresets", "no list");
  EXPECT_EQ(KPImageFilter::presetNames(), std::vector<std::string>());
  preferences.set("KPImageFilterPresets", PropertyList());
}

}  // namespace
}  // namespace vello::test
