// The house's order, read from the #include lines: each library, and each folder of the plug-in, uses only
// what stands before it; no toolkit outside the views.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

namespace vello {
namespace {

namespace fs = std::filesystem;

// A folder may use itself and every folder of a lower rank. The longest fitting name counts.
const std::map<std::string, int> kRanks = {
    {"platform", 0},
    {"engine", 1},
    {"source/screen", 2},
    {"source/geometry", 3},
    {"source/parameters", 4},
    {"source/core/stack", 5},
    {"source/canvas", 6},
    {"source/stack-editor", 6},
    {"source/browser", 6},
    {"source/presets", 6},
    {"source/core/session", 7},
};

// The folder of the table that a path from the root lies in; empty for one outside the house.
std::string folderOf(const std::string& path) {
  // Plain C that stands on nothing: what image units and their loader agree on.
  if (path == "include/vello/image_unit.h") return "platform";
  for (const auto& [folder, rank] : kRanks)
    if (path.rfind(folder + "/", 0) == 0) return folder;
  return "";
}

bool isOursByFirstFolder(const std::string& path) {
  static const std::regex ours("(platform|engine|source|include|hosts|tests|bench|fuzz|examples|vello)/.*");
  return std::regex_match(path, ours);
}

bool isView(const std::string& path) { return path.find("/views/") != std::string::npos; }

// What is wrong with one include of `file`, or nothing.
std::string problem(const std::string& file, bool angled, const std::string& included) {
  if (angled) {
    const bool toolkit = !included.empty() && included[0] == 'Q';
    return toolkit && !isView(file) ? "a toolkit outside the views" : "";
  }
  const std::string from = folderOf(file), to = folderOf(included);
  if (!isOursByFirstFolder(included)) return "a path that does not start at the root";
  if (to.empty()) return "a folder that nothing below may use";
  if (isView(included) && !isView(file)) return "a view from outside the views";
  if (from == to || kRanks.at(to) < kRanks.at(from)) return "";
  return "not before " + from;
}

TEST(IncludeOrder, EveryFolderUsesOnlyWhatStandsBeforeIt) {
  const std::regex include("^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"].*");
  const fs::path root = VELLO_SOURCE_DIR;
  int lines = 0;
  for (const char* library : {"platform", "engine", "source"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / library)) {
      const std::string extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") continue;
      const std::string file = fs::relative(entry.path(), root).generic_string();
      ASSERT_NE(folderOf(file), "") << file << " lies in a folder without a place in the order";
      std::ifstream stream(entry.path());
      std::smatch match;
      for (std::string line; std::getline(stream, line);) {
        if (!std::regex_match(line, match, include)) continue;
        ++lines;
        EXPECT_EQ(problem(file, match[1] == "<", match[2]), "") << file << " includes " << match[2];
      }
    }
  }
  EXPECT_GT(lines, 100);
}

TEST(IncludeOrder, AWrongIncludeIsSeen) {
  const struct {
    const char *file, *included;
    bool angled, wrong;
  } rows[] = {
      {"platform/log.cpp", "engine/image/image.h", false, true},
      {"engine/image/image.cpp", "platform/log.h", false, false},
      {"source/core/stack/a.cpp", "source/core/session/b.h", false, true},
      {"source/core/session/a.cpp", "source/canvas/b.h", false, false},
      {"source/canvas/a.cpp", "source/presets/b.h", false, true},
      {"source/geometry/a.cpp", "source/parameters/b.h", false, true},
      {"source/canvas/a.cpp", "QWidget", true, true},
      {"source/canvas/views/a.cpp", "QWidget", true, false},
      {"source/canvas/a.cpp", "source/canvas/views/b.h", false, true},
      {"source/canvas/a.cpp", "b.h", false, true},
      {"engine/a.cpp", "include/vello/vello.h", false, true},
      {"engine/a.cpp", "include/vello/image_unit.h", false, false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(problem(row.file, row.angled, row.included) != "", row.wrong)
        << row.file << " including " << row.included;
}

}  // namespace
}  // namespace vello
