// vello chain: making, checking and showing chains.
#include <gmock/gmock.h>

#include <sstream>

#include "engine/catalogue/filter.h"
#include "source/core/session/KPImageFilter.h"
#include "source/core/stack/chain_check.h"
#include "source/core/stack/chain_text.h"
#include "source/core/stack/control_kind.h"
#include "tests/hosts/pictures.h"
#include "tests/hosts/program.h"

namespace vello::test {
namespace {

using ::testing::HasSubstr;

// Whether the running image is the only picture that the filter takes.
bool takesOnePicture(const FilterAttributes& filter) {
  int pictures = 0;
  for (const InputAttributes& input : filter.inputs) pictures += input.className == "CIImage";
  return pictures == 1 && hasImageInput(filter, kCIInputImageKey);
}

TEST(ChainCommand, NewChainRendersAsTheFilterDoesWithItsDefaults) {
  const Folder folder;
  const std::string source = folder / "a.png", chain = folder / "c.chain";
  // Large enough for the positions that filters start with.
  writePicture(source, noise({330, 320, 8, 3, ColorSpace::sRGB()}));
  int checked = 0;
  for (const std::string& name : CIFilter::filterNamesInCategory("")) {
    if (!takesOnePicture(*CIFilter::attributesForFilterName(name))) continue;
    SCOPED_TRACE(name);
    ASSERT_EQ(vello({"chain", "new", "--for", source, name, "-o", chain}).status, 0);
    ASSERT_EQ(vello({"filter", name, source, "-o", folder / "filter.png"}).status, 0);
    const Ended render = vello({"render", source, "--chain", chain, "-o", folder / "chain.png"});
    ASSERT_EQ(render.status, 0) << render.errors;
    EXPECT_TRUE(fileText(folder / "filter.png") == fileText(folder / "chain.png"));
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

TEST(ChainCommand, NewChainHoldsEveryControl) {
  for (const std::string& name : CIFilter::filterNamesInCategory("")) {
    const Ended ended = vello({"chain", "new", "--for", "400x300", name, "-o", "-"});
    ASSERT_EQ(ended.status, 0) << name << ended.errors;
    for (const ChainProblem& problem : checkChain(ended.output)) ADD_FAILURE() << describe(problem);
    const ChainTextResult chain = readChainText(ended.output);
    ASSERT_EQ(chain.boxes().size(), 2u) << name;
    EXPECT_EQ(*chain.boxes()[0].dictionary()->find("inputColor")->string(), "0 0 0 0");
    const FilterAttributes& filter = *CIFilter::attributesForFilterName(name);
    for (const InputAttributes& input : filter.inputs)
      EXPECT_EQ(chain.boxes()[1].dictionary()->find(input.key) != nullptr,
                controlKind(filter, input) != ControlKind::none)
          << name << " " << input.key;
  }
}

TEST(ChainCommand, TransformsOfANewChain) {
  const char* const texts[] = {"1,0,0,1,12,-7",  "0.985,0.174,-0.174,0.985,0,0",
                               "0,-2,2,0,3,4",   "0.5,0.1,0.3,1.5,-20,8",
                               "-1,0,0,1,100,0", "-0.6,-0.8,0.8,-0.6,5,5"};
  const auto session = KPImageFilter::imageFilterWithCGImage({noise({40, 30, 8, 4, ColorSpace::sRGB()}), 0});
  KPImageFilterWindowController& controller = session->windowController();
  for (const std::string text : texts) {
    SCOPED_TRACE(text);
    const Ended ended =
        vello({"chain", "new", "--for", "40x30", "CIAffineTransform:inputTransform=" + text, "-o", "-"});
    ASSERT_EQ(ended.status, 0) << ended.errors;
    ASSERT_TRUE(controller.applyFilterChain(ended.output));
    const CGAffineTransform t =
        *controller.filters().back()->coreFilter()->valueForKey("inputTransform").transform();
    std::vector<double> asked;
    std::stringstream numbers(text);
    for (std::string part; std::getline(numbers, part, ',');) asked.push_back(std::stod(part));
    const double found[] = {t.a, t.b, t.c, t.d, t.tx, t.ty};
    for (size_t k = 0; k < 6; ++k) EXPECT_NEAR(found[k], asked[k], 2e-5) << k;
  }
  const Ended flat =
      vello({"chain", "new", "--for", "40x30", "CIAffineTransform:inputTransform=1,1,1,1,0,0", "-o", "-"});
  EXPECT_NE(flat.status, 0);
  EXPECT_NE(flat.errors.find("inputTransform"), std::string::npos) << flat.errors;
}

TEST(ChainCommand, ValuesOfANewChain) {
  const Folder folder;
  writePicture(folder / "odd:name.png", noise({10, 10, 8, 4, ColorSpace::sRGB()}));
  const Ended ended =
      vello({"chain", "new", "--for", "200x100", "CITwirlDistortion:inputCenter=50,75:inputRadius=40",
             "CIBlendWithMask:inputMaskImage=@" + (folder / "odd\\:name.png"), "-o", "-"});
  ASSERT_EQ(ended.status, 0) << ended.errors;
  const ChainTextResult chain = readChainText(ended.output);
  ASSERT_EQ(chain.boxes().size(), 3u);
  const PropertyListDictionary& center = *chain.boxes()[1].dictionary()->find("inputCenter")->dictionary();
  EXPECT_EQ(center.find("X")->number(), 0.25);
  EXPECT_EQ(center.find("Y")->number(), 0.75);
  EXPECT_EQ(chain.boxes()[1].dictionary()->find("inputRadius")->number(), 40);
  const PropertyListDictionary& mask = *chain.boxes()[2].dictionary()->find("inputMaskImage")->dictionary();
  EXPECT_EQ(*mask.find("path")->string(), folder / "odd:name.png");
}

TEST(ChainCommand, CheckTellsWhatCannotBeRead) {
  const Folder folder;
  const struct {
    const char* name;
    std::string text;
    int status;
    const char* said;
  } rows[] = {
      {"whole", chainText(box("CIExposureAdjust", numberMember("inputEV", "1"))), 0, "whole"},
      {"missing key", chainText(box("CIExposureAdjust")), 0, "warning: box 1, CIExposureAdjust, inputEV"},
      {"unknown filter", chainText(box("CINoSuch")), 1, "error: box 1, CINoSuch"},
      {"unknown key", chainText(box("CIExposureAdjust", numberMember("inputE", "1"))), 1, "inputE"},
      {"no list", "hello {", 1, "error"},
  };
  for (const auto& row : rows) {
    writeText(folder / "c.chain", row.text);
    RunOptions piped;
    piped.input = row.text;
    for (const Ended& ended :
         {vello({"chain", "check", folder / "c.chain"}), vello({"chain", "check", "-"}, piped)}) {
      EXPECT_EQ(ended.status, row.status) << row.name;
      EXPECT_THAT(ended.output, HasSubstr(row.said)) << row.name;
    }
  }
}

TEST(ChainCommand, ShowMarksWhatAChainCannotHold) {
  const Folder folder;
  writeText(folder / "c.chain", chainText(box("CIExposureAdjust", numberMember("inputE\x1b[2J", "1")) +
                                          box("CIExposureAdjust", numberMember("inputEV", "2.5")) +
                                          "<integer>3</integer>" + box("CINoSuch")));
  // A control character is not allowed in XML; the same chain without it.
  EXPECT_EQ(vello({"chain", "show", folder / "c.chain"}).status, 1);
  writeText(folder / "c.chain", chainText(box("CIExposureAdjust", numberMember("inputE", "1")) +
                                          box("CIExposureAdjust", numberMember("inputEV", "2.5")) +
                                          "<integer>3</integer>" + box("CINoSuch")));
  const Ended ended = vello({"chain", "show", folder / "c.chain"});
  EXPECT_EQ(ended.status, 0);
  for (const char* text : {"0. Background", "1. Exposure Adjust (CIExposureAdjust)", "inputEV  ! missing",
                           "inputE   ! the filter has no such input", "inputEV  2.5", "not a dictionary",
                           "CINoSuch ! no such filter"})
    EXPECT_THAT(ended.output, HasSubstr(text));
}

}  // namespace
}  // namespace vello::test
