#include "source/core/session/host_identity.h"

#include <gtest/gtest.h>

#include "platform/assertion.h"
#include "platform/exception.h"
#include "source/core/session/KPLangFilter.h"
#include "source/core/session/help_book.h"
#include "tests/source/core/session_support.h"

namespace vello::test {
namespace {

TEST(HostIdentity, EveryHostHasItsAnswers) {
  const struct {
    uint32_t id;
    const char *tag, *help, *display, *shortVersion;
  } rows[] = {
      {0, "standalone", "Vello Effects for Illustrator Help", "1.1", "1.1.0.5110"},
      {1, "IDCS1", "Vello Effects for InDesign Help", "1.0", "1.0.0.5110"},
      {2, "IDCS2", "Vello Effects for InDesign Help", "1.0", "1.0.0.5110"},
      {3, "AICS2", "Vello Effects for Illustrator Help", "0.9 (beta)", "0.9.0.5110"},
      {4, "AICS1", "Vello Effects for Illustrator Help", "0.9 (beta)", "0.9.0.5110"},
      {5, "IDCS3", "Vello Effects for InDesign Help", "1.0", "1.0.0.5110"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    KPImageFilter::setHostApplicationID(row.id);
    EXPECT_EQ(KPImageFilter::hostID(), row.id);
    EXPECT_EQ(KPImageFilter::helpbookNameForHost(), row.help);
    EXPECT_EQ(KPImageFilter::displayVersionStringForHost(), row.display);
    EXPECT_EQ(KPImageFilter::shortVersionStringForHost(), row.shortVersion);
    EXPECT_EQ(KPImageFilter::redirectURLFor("visit.html"),
              kKPImageFilter_BaseRedirectURL + row.tag + "/visit.html");
  }
  KPImageFilter::setHostApplicationID(0);
}

TEST(HostIdentity, AnUnknownHostHasNoRedirectPage) {
  LogCapture log;
  KPImageFilter::setHostApplicationID(6);
  EXPECT_EQ(KPImageFilter::displayVersionStringForHost(), "1.1");
  EXPECT_THROW(KPImageFilter::redirectURLFor("a"), KPException);
  AssertionFailure seen;
  const AssertionHandler former =
      setAssertionHandler([&](const AssertionFailure& failure) { seen = failure; });
  EXPECT_EQ(KPImageFilter::redirectURLFor("a"), kKPImageFilter_BaseRedirectURL + "(null)/a");
  setAssertionHandler(former);
  EXPECT_EQ(seen.file, "source/core/KPImageFilter");
  EXPECT_EQ(seen.line, 266);
  EXPECT_EQ(seen.description, "trying to generate a redirect URL for unknown host!");
  KPImageFilter::setHostApplicationID(0);
}

TEST(HostIdentity, TheHelpBookIsThatOfTheResources) {
  LogCapture log;
  KPImageFilter::regsiterHelpBook();
  ASSERT_TRUE(registeredHelpBook());
  EXPECT_EQ(log.lines, std::vector<std::string>{"*** Vello : " + *registeredHelpBook()});
}

TEST(Texts, WordsAreReplacedAndBlanksKept) {
  PropertyListDictionary words;
  words.set("cat", "dog");
  words.set("number", 7);
  const KPLangFilter filter(words);
  EXPECT_EQ(filter.convertString("", 0), "");
  EXPECT_EQ(filter.convertString(" a cat  cat cats cat. number ", 0), " a dog  dog cats cat. number ");
  EXPECT_EQ(filter.convertString("cat", 0), "dog");
  EXPECT_EQ(KPLangFilter().convertString("my  picture", 1), "my  eye-snack");
}

}  // namespace
}  // namespace vello::test
