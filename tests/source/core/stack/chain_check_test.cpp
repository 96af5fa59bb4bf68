#include "source/core/stack/chain_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

std::string told(const std::string& text) {
  std::string all;
  for (const ChainProblem& p : checkChain(text))
    all += (p.severity == ChainSeverity::error ? "E " : "W ") + describe(p) + "\n";
  return all;
}

std::string pictureEntry(const std::string& path) {
  return entry("inputTargetImage", "<dict>" + entry("path", "<string>" + path + "</string>") +
                                       entry("bounds", "<string>{{0, 0}, {1, 1}}</string>") +
                                       entry("source", "<string>{{0, 0}, {1, 1}}</string>") + "</dict>") +
         entry("inputTime", "<real>0</real>");
}

TEST(ChainCheck, WhatASessionWritesHasNoProblem) {
  const auto s = session(50, 40);
  for (const char* name : {"CIGaussianBlur", "CITwirlDistortion", "CIAffineTransform", "CICrop",
                           "CIColorMatrix", "CICheckerboardGenerator", "CISourceOverCompositing"})
    s->windowController().filterStack().addFilterWithName(name, s->windowController().filters().back().get());
  EXPECT_EQ(told(*s->windowController().filterChainAsString()), "");
  EXPECT_EQ(told(plist("<array/>")), "");
}

TEST(ChainCheck, EveryProblemIsToldWithItsPlace) {
  const auto ev = [](const std::string& value) { return box("CIExposureAdjust", entry("inputEV", value)); };
  const auto center = [](const std::string& value) {
    return box("CIPixellate", entry("inputCenter", value) + entry("inputScale", "<real>8</real>"));
  };
  const struct {
    std::string text, told;
  } rows[] = {
      {plist("<dict/>"), "E the property list is not an array"},
      {chain("<string/>"), "E box 1: the element is not a dictionary"},
      {plist("<array><integer>1</integer></array>"), "E box 0: the element is not a dictionary"},
      {chain("<dict/>"), "E box 1, CIAttributeFilterName: the filter's name is missing or no text"},
      {chain(ev("<real>1</real>") + box("CINoSuch")), "E box 2, CINoSuch: there is no such filter"},
      {plist("<array>" + box("CIBloom", entry("inputColor", "<string>0 0 0 1</string>")) + "</array>"),
       "W box 0, CIBloom: the first element only sets"},
      {plist("<array>" + box("CIBloom") + "</array>"), "W box 0, CIBloom, inputColor: the value is missing"},
      {chain(box("CIExposureAdjust")), "W box 1, CIExposureAdjust, inputEV: the value is missing"},
      {chain(box("CIExposureAdjust", entry("inputGain", "<real>1</real>"))),
       "E box 1, CIExposureAdjust, inputGain: the filter has no such input"},
      {chain(box("CIExposureAdjust", entry("inputImage", "<dict/>"))),
       "E box 1, CIExposureAdjust, inputImage: a chain cannot set this input"},
      {chain(ev("<string>1</string>")), "E box 1, CIExposureAdjust, inputEV: a number is expected"},
      {chain(ev("<real>nan</real>")), "W box 1, CIExposureAdjust, inputEV: the number is not finite"},
      {chain(center("<string>1 2</string>")), "inputCenter: a dictionary of"},
      {chain(center("<dict/>")), "inputCenter: a vector has 2 to 4 entries"},
      {chain(center("<dict>" + entry("X", "<real>0</real>") + entry("Z", "<real>0</real>") + "</dict>")),
       "inputCenter: the entry \"Y\" is missing"},
      {chain(center("<dict>" + entry("X", "<real>0</real>") + entry("Y", "<true/>") + "</dict>")), ""},
      {chain(center("<dict>" + entry("X", "<real>0</real>") + entry("Y", "<string/>") + "</dict>")),
       "E box 1, CIPixellate, inputCenter: \"Y\": a number is expected"},
      {plist("<array>" + box("CIConstantColorGenerator", entry("inputColor", "<string>red</string>")) +
             "</array>"),
       "inputColor: \"red\" is no colour"},
      {chain(box("CIAffineTransform", entry("inputTransform", "<dict/>"))),
       "inputTransform: the entry \"tx\" is missing"},
      {chain(box("CIDissolveTransition", pictureEntry("/no/such/picture.png"))), "/no/such/picture.png"},
  };
  for (const auto& row : rows) {
    const std::string all = told(row.text);
    EXPECT_NE(all.find(row.told), std::string::npos) << row.told << "\n instead of\n" << all;
    EXPECT_EQ(all.empty(), row.told.empty()) << all;
  }
}

TEST(ChainCheck, PicturesMustBeRegularImageFiles) {
  const std::string& folder = kOwnPreferences.folder();
  const std::string good = folder + "/good.png", pipe = folder + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_EQ(writePNG(good, picture(4, 4, AlphaInfo::last)), "");
  EXPECT_EQ(told(chain(box("CIDissolveTransition", pictureEntry(good)))), "");
  for (const std::string& path : {pipe, folder, std::string("/dev/zero")})
    EXPECT_TRUE(hasErrors(checkChain(chain(box("CIDissolveTransition", pictureEntry(path)))))) << path;
}

TEST(ChainCheck, TheReportStaysShort) {
  std::string values;
  for (int i = 0; i < 5000; ++i) values += entry("x" + std::to_string(i) + std::string(200, 'y'), "<true/>");
  const auto problems = checkChain(chain(box("CIHueAdjust", values)));
  ASSERT_EQ(problems.size(), 101u);
  EXPECT_LT(problems.front().key.size(), 100u);
  EXPECT_EQ(problems.back().message, "4901 more problems");
}

}  // namespace
}  // namespace vello::test
