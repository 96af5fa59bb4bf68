#include "platform/preferences.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/log.h"

using namespace vello;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

// Each test has its own folder and, as domains live as long as the process, its own domain.
class PreferencesTest : public testing::Test {
 protected:
  PreferencesTest() {
    char name[] = "/tmp/vello-preferences-XXXXXX";
    root = mkdtemp(name);
    setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
    former = setLogSink([this](const std::string& line) { log.push_back(line); });
  }
  ~PreferencesTest() override {
    setLogSink(former);
    fs::remove_all(root);
  }
  std::string name() const { return testing::UnitTest::GetInstance()->current_test_info()->name(); }
  Preferences& preferences() { return Preferences::domain(name()); }
  fs::path file() const { return root / "config/vello" / (name() + ".plist"); }
  void writeFile(const std::string& text) {
    fs::create_directories(file().parent_path());
    std::ofstream(file()) << text;
  }
  std::string readFile() const {
    std::ostringstream text;
    text << std::ifstream(file()).rdbuf();
    return text.str();
  }
  // The files beside this domain's, and what is left of temporary ones.
  std::vector<std::string> others() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(file().parent_path())) {
      const std::string other = entry.path().filename();
      if (other != name() + ".plist" && other != name() + ".lock") names.push_back(other);
    }
    return names;
  }
  // As another process would leave it.
  void writeAsAnother(const std::string& key, int value) {
    writeFile("<plist version='1.0'><dict><key>" + key + "</key><integer>" + std::to_string(value) +
              "</integer></dict></plist>");
  }

  fs::path root;
  LogSink former;
  std::vector<std::string> log;
};

TEST_F(PreferencesTest, StoredValuesLieOverRegisteredOnes) {
  Preferences& p = preferences();
  p.registerDefault("k", 1);
  EXPECT_EQ(p.value("k"), PropertyList(1));
  EXPECT_FALSE(fs::exists(root / "config"));  // reading makes nothing
  p.set("k", PropertyListArray{2, "x"});
  EXPECT_EQ(p.value("k"), PropertyList(PropertyListArray{2, "x"}));
  EXPECT_THAT(readFile(), HasSubstr("<integer>2</integer>"));
  p.set("k", {});
  EXPECT_EQ(p.value("k"), PropertyList(1));
  EXPECT_THAT(readFile(), HasSubstr("<dict/>"));
  EXPECT_TRUE(p.value("other").isNil());
  EXPECT_THAT(others(), ElementsAre());
  EXPECT_THAT(log, ElementsAre());
}

TEST_F(PreferencesTest, WhatOtherProcessesWroteIsKeptAndSeen) {
  writeAsAnother("theirs", 1);
  Preferences& p = preferences();
  EXPECT_EQ(p.value("theirs"), PropertyList(1));
  writeAsAnother("theirs", 2);
  EXPECT_EQ(p.value("theirs"), PropertyList(1));
  p.set("ours", 5);
  EXPECT_EQ(p.value("theirs"), PropertyList(2));
  writeAsAnother("theirs", 3);
  p.synchronize();
  EXPECT_EQ(p.value("theirs"), PropertyList(3));
  EXPECT_TRUE(p.value("ours").isNil());
}

TEST_F(PreferencesTest, ObserversHearOfChangesOfTheirKeyOnly) {
  Preferences& p = preferences();
  std::vector<double> heard;
  Connection c = p.observe("k", [&] { heard.push_back(p.value("k").number()); });
  p.registerDefault("k", 1);
  p.set("other", 1);
  p.set("k", 1);
  p.set("k", 2);
  writeAsAnother("k", 3);
  p.synchronize();
  p.set("k", {});
  c.close();
  p.set("k", 9);
  EXPECT_THAT(heard, ElementsAre(1, 2, 3, 1));
}

TEST_F(PreferencesTest, ADamagedFileIsKeptAsideAndReportedOnce) {
  writeFile("<plist><dict><key>half");
  Preferences& p = preferences();
  EXPECT_TRUE(p.value("half").isNil());
  p.set("k", 1);
  writeFile("<plist version='1.0'><array/></plist>");
  p.set("k", 2);
  EXPECT_EQ(p.value("k"), PropertyList(2));
  EXPECT_THAT(readFile(), HasSubstr("<integer>2</integer>"));
  EXPECT_THAT(others(),
              testing::UnorderedElementsAre(HasSubstr(".plist.damaged-"), HasSubstr(".plist.damaged-")));
  EXPECT_THAT(log, ElementsAre(HasSubstr(file().string() + ": line 1"), HasSubstr("is no dictionary")));
}

TEST_F(PreferencesTest, AnUnwritableFolderIsOneLogLineAndValuesStayInMemory) {
  std::ofstream(root / "config") << "a file where the folder should be";
  Preferences& p = preferences();
  p.set("k", 1);
  p.set("j", 2);
  p.synchronize();
  EXPECT_EQ(p.value("k"), PropertyList(1));
  EXPECT_EQ(log.size(), 1u) << testing::PrintToString(log);
  fs::remove(root / "config");
  p.synchronize();  // now it can be written
  EXPECT_THAT(readFile(), HasSubstr("<key>k</key>"));
  EXPECT_THAT(readFile(), HasSubstr("<key>j</key>"));
}

TEST_F(PreferencesTest, AFileThatCannotBeReadIsNeverReplaced) {
  fs::create_directories(file());
  Preferences& p = preferences();
  p.set("k", 1);
  EXPECT_EQ(p.value("k"), PropertyList(1));
  EXPECT_TRUE(fs::is_directory(file()));
  EXPECT_THAT(log, ElementsAre(HasSubstr("is a folder")));
}

TEST_F(PreferencesTest, AValueNoListCanHoldIsRefusedAlone) {
  Preferences& p = preferences();
  p.set("bad", PropertyListArray{PropertyList()});
  p.set("worse", "\x01");
  p.set("good", 1);
  EXPECT_TRUE(p.value("bad").isNil());
  EXPECT_THAT(readFile(), HasSubstr("<key>good</key>"));
  EXPECT_THAT(log,
              ElementsAre(HasSubstr("\"bad\" not stored: the value at .bad[0] is nil"), HasSubstr("worse")));
}

TEST_F(PreferencesTest, TheFolderIsTheUsersAndNeverRelative) {
  setenv("XDG_CONFIG_HOME", "relative", 1);
  const char* const before = std::getenv("HOME");
  const std::string home = before ? before : "";
  setenv("HOME", root.c_str(), 1);
  Preferences::domain(name()).set("k", 1);
  EXPECT_TRUE(fs::exists(root / ".config/vello" / (name() + ".plist")));
  EXPECT_EQ(fs::status(root / ".config").permissions(), fs::perms::owner_all);
  Preferences::domain("../" + name()).set("k", 2);
  EXPECT_EQ(Preferences::domain("../" + name()).value("k"), PropertyList(2));
  EXPECT_FALSE(fs::exists(root / ".config" / (name() + ".plist")));
  setenv("HOME", home.c_str(), 1);
}

// Processes and threads that each set their own keys: nobody's keys are lost.
TEST_F(PreferencesTest, WritersAtTheSameTimeLoseNothing) {
  const auto setTwenty = [this](const std::string& prefix) {
    for (int i = 0; i < 20; ++i) preferences().set(prefix + std::to_string(i), i);
  };
  std::vector<pid_t> children;
  for (const char* prefix : {"a", "b"}) {
    children.push_back(fork());
    if (children.back() == 0) setTwenty(prefix), _exit(0);
  }
  std::thread first(setTwenty, "c"), second(setTwenty, "d");
  first.join(), second.join();
  for (const pid_t child : children) waitpid(child, nullptr, 0);
  preferences().synchronize();
  for (const char* prefix : {"a", "b", "c", "d"}) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(preferences().value(prefix + std::to_string(i)), PropertyList(i)) << prefix << i;
    }
  }
  EXPECT_THAT(log, ElementsAre());
}

}  // namespace
