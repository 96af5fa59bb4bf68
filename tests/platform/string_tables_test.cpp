// The texts the program carries: every table is complete, and every key the sources ask for has a text.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>

#include "platform/property_list.h"

namespace vello {
namespace {

namespace fs = std::filesystem;
using Table = std::map<std::string, std::string>;

const fs::path kRoot = VELLO_SOURCE_DIR;
const fs::path kEnglish = "resources/en.lproj/Localizable.strings";

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

Table tableAt(const fs::path& path) {
  const std::string bytes = contents(kRoot / path);
  const auto read = readPropertyList({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  EXPECT_TRUE(read.ok()) << path << ": " << read.error;
  Table table;
  const PropertyListDictionary* dictionary = read.value.dictionary();
  if (!dictionary) ADD_FAILURE() << path << " is no dictionary";
  for (const PropertyListMember& member :
       dictionary ? dictionary->members() : std::vector<PropertyListMember>())
    table[member.key] = member.value.string() ? *member.value.string() : "";
  return table;
}

class StringTables : public testing::TestWithParam<const char*> {};

TEST_P(StringTables, HoldTheKeysOfTheEnglishOneAndATextForEach) {
  const Table english = tableAt(kEnglish);
  const Table table =
      tableAt(fs::path("resources") / (GetParam() + std::string(".lproj")) / "Localizable.strings");
  for (const auto& [key, text] : english) EXPECT_TRUE(table.count(key)) << key << " is missing";
  for (const auto& [key, text] : table) {
    EXPECT_TRUE(english.count(key)) << key << " is not in the English table";
    EXPECT_NE(text.find_first_not_of(' '), std::string::npos) << key << " has no text";
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, StringTables, testing::Values("en", "de", "fr", "es", "ja"),
                         [](const auto& language) { return std::string(language.param); });

TEST(EnglishTable, HoldsEveryKeyThatTheSourcesName) {
  const Table english = tableAt(kEnglish);
  ASSERT_FALSE(english.empty());
  static const std::regex kKey("\"(kKPImageFi(?:lter|tler)_\\w+)\"");
  for (const auto& entry : fs::recursive_directory_iterator(kRoot / "source")) {
    if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
    const std::string text = contents(entry.path());
    for (std::sregex_iterator found(text.begin(), text.end(), kKey), end; found != end; ++found)
      EXPECT_TRUE(english.count((*found)[1])) << (*found)[1] << ", named in " << entry.path();
  }
}

TEST(PlayfulWords, ReplaceSingleWords) {
  const Table words = tableAt("resources/ShizzleLang.strings");
  EXPECT_FALSE(words.empty());
  for (const auto& [word, other] : words) {
    EXPECT_FALSE(other.empty()) << word;
    EXPECT_EQ(word.find(' '), std::string::npos)
        << word << " could never be found: texts are split at blanks";
  }
}

}  // namespace
}  // namespace vello
