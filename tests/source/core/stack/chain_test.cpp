// Chains as hosts hand them over: good ones, bad ones and hostile ones.
#include <gtest/gtest.h>

#include <cmath>

#include "platform/exception.h"
#include "source/core/stack/chain_text.h"
#include "source/parameters/chain_limits.h"
#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

const Value& valueOf(KPImageFilterWindowController& controller, size_t box, const char* key) {
  return controller.filters()[box]->coreFilter()->valueForKey(key);
}

std::string point(const char* x, const char* y) {
  return "<dict>" + entry("X", x) + entry("Y", y) + "</dict>";
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

std::string target(const std::string& path) {
  return entry("inputTargetImage", "<dict>" + entry("path", "<string>" + path + "</string>") + "</dict>");
}

std::string boxesWithPictures(int count) {
  std::string boxes;
  while (count-- > 0) boxes += box("CIDissolveTransition", target("/no/" + std::to_string(count)));
  return boxes;
}

TEST(Chain, WritingAndReadingGivesTheSameStack) {
  const auto first = session(100, 50);
  KPImageFilterWindowController& written = first->windowController();
  for (const char* name :
       {"CITwirlDistortion", "CIFalseColor", "CIAffineTransform", "CICrop", "CIColorMatrix"})
    written.filterStack().addFilterWithName(name, written.filters().back().get());
  written.filters()[1]->coreFilter()->setValueForKey(CIVector{25, 40}, "inputCenter");
  written.filters()[2]->coreFilter()->setValueForKey(CIColor(1, 0.5, 0, 1), "inputColor0");
  written.filters()[2]->setEnabled(false);
  const auto text = written.filterChainAsString();
  ASSERT_TRUE(text);
  EXPECT_NE(text->find("<string>1 0.5 0 1</string>"), std::string::npos) << *text;

  const auto second = session(100, 50);
  KPImageFilterWindowController& read = second->windowController();
  ASSERT_TRUE(read.applyFilterChain(*text));
  EXPECT_EQ(names(read.filterStack()), names(written.filterStack()));
  EXPECT_EQ(read.filterChainAsString(), text);
  EXPECT_EQ(*valueOf(read, 2, "inputColor0").color(), CIColor(1, 0.5, 0, 1));
  EXPECT_TRUE(read.filters()[2]->enabled()) << "chains do not know disabled boxes";

  const auto larger = session(200, 100);
  ASSERT_TRUE(larger->windowController().applyFilterChain(*text));
  const CIVector& center = *valueOf(larger->windowController(), 1, "inputCenter").vector();
  EXPECT_FLOAT_EQ(static_cast<float>(center.X()), 50);
  EXPECT_FLOAT_EQ(static_cast<float>(center.Y()), 80);
}

TEST(Chain, TheFirstElementOnlySetsTheBackground) {
  const auto s = session(20, 20);
  ASSERT_TRUE(s->windowController().applyFilterChain(plist(
      "<array>" + box("CIGaussianBlur", entry("inputColor", "<string>0 1 0 1</string>")) + "</array>")));
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator");
  EXPECT_EQ(*valueOf(s->windowController(), 0, "inputColor").color(), CIColor(0, 1, 0, 1));
}

TEST(Chain, WhatIsNoChainLeavesTheStackAlone) {
  const struct {
    const char* name;
    std::optional<std::string> text;
    bool parses;
    const char* logged;
  } rows[] = {
      {"no text", std::nullopt, false, nullptr},
      {"empty text", "", false, ""},
      {"no property list", "not { a = list", false, ""},
      {"cut off", chain("").substr(0, 90), false, ""},
      {"a dictionary", plist("<dict/>"), false, "not an array"},
      {"a text", plist("<string>CIGaussianBlur</string>"), false, "not an array"},
      {"an empty array", plist("<array/>"), true, nullptr},
      {"3,000 boxes", plist("<array>" + repeated("<dict/>", 3000) + "</array>"), false, "3000 boxes"},
      {"17 MB", std::string(size_t{17} << 20, ' '), false, "bytes"},
      {"70 levels", plist(repeated("<array>", 70) + repeated("</array>", 70)), false, ""},
      {"65 image files", chain(boxesWithPictures(65)), false, "image files"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto s = session(20, 20);
    s->windowController().filterStack().addFilterWithName("CIHueAdjust",
                                                          s->windowController().filters().back().get());
    LogCapture log;
    EXPECT_EQ(s->windowController().applyFilterChain(row.text), row.parses);
    EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator HueAdjust");
    ASSERT_EQ(log.lines.size(), row.logged ? 1u : 0u);
    if (!row.logged) continue;
    EXPECT_EQ(log.lines[0].rfind(" could not decode filter chain string : \n ", 0), 0u) << log.lines[0];
    EXPECT_NE(log.lines[0].find(row.logged), std::string::npos) << log.lines[0];
  }
}

TEST(Chain, BadElementsAreSkipped) {
  const auto s = session(20, 20);
  ASSERT_TRUE(s->windowController().applyFilterChain(
      chain("<string>CIGammaAdjust</string>" + box("CIHueAdjust") + "<array/>" + "<dict/>" + "<dict>" +
            entry("CIAttributeFilterName", "<integer>7</integer>") + "</dict>" + box("CISepiaTone"))));
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator HueAdjust SepiaTone");
}

TEST(Chain, AnUnknownFilterRaisesAndWhatStoodBeforeItStays) {
  const auto s = session(20, 20);
  EXPECT_THROW(
      s->filterResultForChain(chain(box("CIHueAdjust") + box("CINoSuchFilter") + box("CISepiaTone"))),
      KPException);
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator HueAdjust");
}

TEST(Chain, BadValuesBecomeWhatTheTableSays) {
  const struct {
    const char *name, *filter, *key;
    std::string text;
    Value value;
  } rows[] = {
      {"number", "CIExposureAdjust", "inputEV", "<real>2.5</real>", 2.5},
      {"number as an integer", "CIExposureAdjust", "inputEV", "<integer>2</integer>", 2},
      {"number as text", "CIExposureAdjust", "inputEV", "<string>1.5 stops</string>", 1.5},
      {"number as other text", "CIExposureAdjust", "inputEV", "<string>much</string>", 0.0},
      {"number missing", "CIExposureAdjust", "inputEV", "", Value()},
      {"number as an array", "CIExposureAdjust", "inputEV", "<array/>", Value()},
      {"infinity", "CIExposureAdjust", "inputEV", "<real>+infinity</real>", double{INFINITY}},
      {"vector", "CITwirlDistortion", "inputCenter", point("<real>0.5</real>", "<real>0.25</real>"),
       CIVector{10, 5}},
      {"vector as text", "CITwirlDistortion", "inputCenter", "<string>1 2</string>", CIVector{0, 0}},
      {"vector missing", "CITwirlDistortion", "inputCenter", "", CIVector{0, 0}},
      {"vector with a text", "CITwirlDistortion", "inputCenter",
       point("<string>x</string>", "<real>0.5</real>"), CIVector{0, 10}},
      {"colour", "CIFalseColor", "inputColor0", "<string>0 0.5 1 0.25</string>", CIColor(0, 0.5, 1, 0.25)},
      {"half a colour", "CIFalseColor", "inputColor0", "<string>0.5</string>", CIColor(0.5, 0, 0, 1)},
      {"colour as a number", "CIFalseColor", "inputColor0", "<real>1</real>", CIColor(0.3, 0, 0, 1)},
      {"colour missing", "CIFalseColor", "inputColor0", "", CIColor(0.3, 0, 0, 1)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto s = session(20, 20);
    ASSERT_TRUE(s->windowController().applyFilterChain(
        chain(box(row.filter, row.text.empty() ? "" : entry(row.key, row.text)))));
    EXPECT_EQ(valueOf(s->windowController(), 1, row.key), row.value);
    s->windowController().filterImage();
  }
  const auto s = session(20, 20);
  s->windowController().applyFilterChain(
      chain(box("CIExposureAdjust", entry("inputEV", "<real>nan</real>"))));
  EXPECT_TRUE(std::isnan(valueOf(s->windowController(), 1, "inputEV").number()));
}

TEST(Chain, AMissingPictureLeavesTheOtherValues) {
  LogCapture log;
  const auto s = session(20, 20);
  ASSERT_TRUE(s->windowController().applyFilterChain(chain(
      box("CIDissolveTransition", target("/no/such/file.png") + entry("inputTime", "<real>0.75</real>")))));
  EXPECT_EQ(valueOf(s->windowController(), 1, "inputTime").number(), 0.75);
  EXPECT_TRUE(log.has("/no/such/file.png"));
}

TEST(Chain, PicturesOfMoreThanAGigapixelTogetherAreRefusedBeforeAnyBoxChanges) {
  const std::string folder = kOwnPreferences.folder() + "/";
  writeTiffHeader(folder + "half.tif", 25000, 20000);
  writeTiffHeader(folder + "other-half.tif", 20000, 25000);
  writeTiffHeader(folder + "one.tif", 1, 1);
  std::string two;
  for (const char* name : {"half.tif", "half.tif", "other-half.tif", "missing.tif"})
    two += box("CIDissolveTransition", target(folder + name));
  EXPECT_TRUE(chainFromText(chain(two)).ok()) << "each file counts once";
  const auto s = session(20, 20);
  LogCapture log;
  EXPECT_FALSE(s->windowController().applyFilterChain(
      chain(two + box("CIDissolveTransition", target(folder + "one.tif")))));
  EXPECT_EQ(names(s->windowController().filterStack()), "ConstantColorGenerator");
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_NE(log.lines[0].find("more than 1000000000 pixels"), std::string::npos) << log.lines[0];
}

TEST(Chain, AThousandBoxesAreRead) {
  const std::string one =
      box("CITwirlDistortion", entry("inputCenter", point("<real>0.5</real>", "<real>0.5</real>")));
  const auto s = session(20, 20);
  ASSERT_TRUE(s->windowController().applyFilterChain(chain(repeated(one, kMaxChainBoxes - 1))));
  EXPECT_EQ(s->windowController().filters().size(), 1000u);
  EXPECT_FALSE(s->windowController().filterImage().isNil());
}

}  // namespace
}  // namespace vello::test
