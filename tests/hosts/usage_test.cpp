// Wrong arguments, help, and what the program tells of itself and of filters.
#include <gmock/gmock.h>

#include "engine/catalogue/filter.h"
#include "tests/hosts/json_reader.h"
#include "tests/hosts/pictures.h"
#include "tests/hosts/program.h"

namespace vello::test {
namespace {

using ::testing::HasSubstr;
using Arguments = std::vector<std::string>;

TEST(Usage, WrongArgumentsAreStatus2WithAReason) {
  const Folder folder;
  writePicture(folder / "a.png", noise({}));
  writeText(folder / "c.chain", chainText(""));
  const std::string a = folder / "a.png", c = folder / "c.chain", o = folder / "o.png";
  const struct {
    const char* name;
    Arguments arguments;
    const char* reason;
  } rows[] = {
      {"nothing", {}, "subcommand"},
      {"unknown command", {"rendr", a}, "rendr"},
      {"unknown command of a command", {"chain", "mend", c}, "mend"},
      {"unknown option", {"render", a, "--chain", c, "-o", o, "--fast"}, "--fast"},
      {"no chain", {"render", a, "-o", o}, "--chain"},
      {"no output", {"render", a, "--chain", c}, "--out-dir"},
      {"two outputs", {"render", a, "--chain", c, "-o", o, "--out-dir", folder / "d"}, "--out-dir"},
      {"one output for two", {"render", a, a, "--chain", c, "-o", o}, "--out-dir"},
      {"unknown format", {"render", a, "--chain", c, "-o", o, "--format", "gif"}, "gif"},
      {"name without a format", {"render", a, "--chain", c, "-o", folder / "o.xyz"}, "o.xyz"},
      {"WebP cannot be written", {"render", a, "--chain", c, "-o", folder / "o.webp"}, "WebP"},
      {"depth 12", {"render", a, "--chain", c, "-o", o, "--depth", "12"}, "12"},
      {"16-bit JPEG", {"render", a, "--chain", c, "-o", folder / "o.jpg", "--depth", "16"}, "jpeg"},
      {"quality 0", {"render", a, "--chain", c, "-o", o, "--quality", "0"}, "quality"},
      {"no jobs", {"render", a, "--chain", c, "-o", o, "--jobs", "0"}, "jobs"},
      {"dpi no number", {"render", a, "--chain", c, "-o", o, "--dpi", "high"}, "dpi"},
      {"unknown filter", {"filter", "CIExposureAdjst", a, "-o", o}, "CIExposureAdjust"},
      {"filter without its prefix", {"filter", "exposureadjust", a, "-o", o}, "CIExposureAdjust"},
      {"unknown key", {"filter", "CIExposureAdjust", a, "-o", o, "-p", "inputEW=1"}, "near: inputEV"},
      {"no pair", {"filter", "CIExposureAdjust", a, "-o", o, "-p", "inputEV"}, "key=value"},
      {"no number", {"filter", "CIExposureAdjust", a, "-o", o, "-p", "inputEV=1,5"}, "a number"},
      {"missing picture", {"filter", "CIExposureAdjust", "-o", o}, "inputImage"},
      {"picture for a number", {"filter", "CIExposureAdjust", "-o", o, "-p", "inputImage=3"}, "@file"},
      {"endless", {"filter", "CIConstantColorGenerator", "-o", o}, "--extent"},
      {"input for a generator", {"filter", "CIConstantColorGenerator", a, "-o", o}, "no input picture"},
      {"empty extent", {"filter", "CIConstantColorGenerator", "-o", o, "--extent", "0,0,0,5"}, "--extent"},
      {"extent of three", {"filter", "CIConstantColorGenerator", "-o", o, "--extent", "0,0,5"}, "--extent"},
      {"result on its input", {"filter", "CIExposureAdjust", a, "-o", a}, "overwrite"},
      {"result on standard output", {"filter", "CIExposureAdjust", a, "-o", "-.png/../-"}, "format"},
      {"unknown category", {"filters", "--category", "Blurr"}, "near: Blur"},
      {"unknown filter to describe", {"filters", "CISepia"}, "CISepiaTone"},
      {"chain for no picture", {"chain", "new", "CISepiaTone", "-o", o}, "--for"},
      {"chain of unknown filter", {"chain", "new", "--for", "9x9", "CISepiaTon", "-o", o}, "CISepiaTone"},
      {"chain with unknown key",
       {"chain", "new", "--for", "9x9", "CIExposureAdjust:EV=1", "-o", o},
       "inputEV"},
      {"chain with the picture below",
       {"chain", "new", "--for", "9x9", "CIExposureAdjust:inputImage=@" + a, "-o", o},
       "supplies"},
      {"chain with half a pair",
       {"chain", "new", "--for", "9x9", "CIExposureAdjust:inputEV", "-o", o},
       "key=value"},
  };
  for (const auto& row : rows) {
    const Ended ended = vello(row.arguments);
    EXPECT_EQ(ended.status, 2) << row.name;
    EXPECT_THAT(ended.errors, HasSubstr(row.reason)) << row.name;
    EXPECT_EQ(ended.output, "") << row.name;
  }
  EXPECT_EQ(folder.names(), (Arguments{"a.png", "c.chain"}));
}

TEST(Usage, MissingFilesAreStatus1) {
  const Folder folder;
  const std::string none = folder / "none";
  for (const Arguments& arguments : {Arguments{"render", none, "--chain", none, "-o", folder / "o.png"},
                                     Arguments{"filter", "CIExposureAdjust", none, "-o", folder / "o.png"},
                                     Arguments{"chain", "check", none}, Arguments{"chain", "show", none},
                                     Arguments{"chain", "new", "--for", none, "CISepiaTone", "-o", "-"}}) {
    const Ended ended = vello(arguments);
    EXPECT_EQ(ended.status, 1) << arguments.front();
    EXPECT_THAT(ended.errors, HasSubstr(none)) << arguments.front();
  }
}

TEST(Usage, HelpNamesEveryOption) {
  const struct {
    Arguments command;
    Arguments options;
  } rows[] = {
      {{}, {"render", "filter", "filters", "chain", "--version", "130"}},
      {{"render"},
       {"--chain", "--output", "--out-dir", "--format", "--depth", "--quality", "--dpi", "--jobs",
        "--verbose", "white"}},
      {{"filter"}, {"NAME", "INPUT", "--output", "-p", "--extent", "--depth", "@FILE", "#rrggbb"}},
      {{"filters"}, {"NAME", "--category", "--json"}},
      {{"chain"}, {"check", "show", "new"}},
      {{"chain", "check"}, {"FILE"}},
      {{"chain", "show"}, {"FILE"}},
      {{"chain", "new"}, {"--for", "NAME", "--output", "\\:"}},
  };
  for (const auto& row : rows) {
    Arguments arguments = row.command;
    arguments.push_back("--help");
    const Ended ended = vello(arguments);
    EXPECT_EQ(ended.status, 0);
    for (const std::string& option : row.options) EXPECT_THAT(ended.output, HasSubstr(option));
  }
  EXPECT_THAT(vello({"--version"}).output, HasSubstr("instruction set: "));
}

std::vector<double> numbers(const Json& json) {
  std::vector<double> found;
  for (const Json& number : json.array) found.push_back(number.number);
  return found;
}

TEST(Filters, JsonHoldsTheWholeCatalogue) {
  const Ended ended = vello({"filters", "--json"});
  ASSERT_EQ(ended.status, 0);
  const Json json = JsonReader::read(ended.output);
  const std::vector<std::string> names = CIFilter::filterNamesInCategory("");
  ASSERT_EQ(json.array.size(), names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    const FilterAttributes& filter = *CIFilter::attributesForFilterName(names[i]);
    const Json& object = json.array[i];
    EXPECT_EQ(object.at("name").text, filter.name);
    EXPECT_EQ(object.at("displayName").text, filter.displayName);
    EXPECT_EQ(object.at("categories").array.size(), filter.categories.size());
    ASSERT_EQ(object.at("inputs").array.size(), filter.inputs.size());
    for (size_t k = 0; k < filter.inputs.size(); ++k) {
      const Json& input = object.at("inputs").array[k];
      const InputAttributes& expected = filter.inputs[k];
      EXPECT_EQ(input.at("key").text, expected.key);
      EXPECT_EQ(input.at("class").text, expected.className);
      EXPECT_EQ(input.has("type"), !expected.type.empty());
      EXPECT_EQ(input.has("default"), !expected.defaultValue.isNil());
      EXPECT_EQ(input.has("min") ? input.at("min").number : -1e9, expected.min.value_or(-1e9));
      if (!expected.defaultValue.vector()) continue;
      EXPECT_EQ(numbers(input.at("default")), expected.defaultValue.vector()->values());
    }
  }
}

TEST(Filters, CategoriesWithAndWithoutPrefix) {
  const Ended plain = vello({"filters", "--category", "ColorAdjustment"});
  EXPECT_EQ(plain.status, 0);
  EXPECT_THAT(plain.output, HasSubstr("CIExposureAdjust"));
  EXPECT_EQ(vello({"filters", "--category", "CICategoryColorAdjustment"}).output, plain.output);
  EXPECT_NE(vello({"filters"}).output, plain.output);
  const Ended one = vello({"filters", "CIExposureAdjust"});
  EXPECT_THAT(one.output, HasSubstr("inputEV"));
  EXPECT_EQ(JsonReader::read(vello({"filters", "CIExposureAdjust", "--json"}).output).array.size(), 1u);
}

}  // namespace
}  // namespace vello::test
