#include "platform/resources.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vello;

namespace {

TEST(Resources, AreFoundFromTheProgramItself) {
  EXPECT_EQ(libraryFolder(), std::filesystem::read_symlink("/proc/self/exe").parent_path());
  const auto path = pathForResource("en.lproj/Localizable.strings");
  ASSERT_TRUE(path);
  EXPECT_TRUE(path->starts_with(resourcesFolder() + "/"));
  for (const char* name : {"", "en.lproj", "no such file"}) EXPECT_FALSE(pathForResource(name)) << name;
}

TEST(Resources, TheLanguageFollowsTheEnvironment) {
  const struct {
    const char *locale, *choices, *language;
  } kRows[] = {{"de_DE.UTF-8", "", "de"},   {"fr", "", "fr"},
               {"ja_JP.eucJP@x", "", "ja"}, {"es-MX", "", "es"},
               {"it_IT.UTF-8", "", "en"},   {"", "de", "en"},
               {"C", "de", "en"},           {"C.UTF-8", "de", "en"},
               {"POSIX", "", "en"},         {"en_US", "it:de_AT:fr", "de"},
               {"fr_FR", "it:", "fr"},      {"de", ":fr", "fr"},
               {"deutsch", "", "en"},       {"../de", "", "en"}};
  for (const auto& row : kRows) EXPECT_EQ(languageFor(row.locale, row.choices), row.language) << row.locale;
}

TEST(Resources, TextsComeFromTheTableOfTheLanguage) {
  const char* key = "kKPImageFilter_BackgroundColorFilterTitle";
  const auto english = localizedString(key, "en"), german = localizedString(key, "de");
  ASSERT_TRUE(english && german);
  EXPECT_NE(*english, *german);
  EXPECT_EQ(localizedString(key, "tlh"), english);
  EXPECT_TRUE(localizedString(key));
  EXPECT_FALSE(localizedString("no such key"));
}

}  // namespace
