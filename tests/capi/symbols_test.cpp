// What libvello.so exports: the whole list, which only grows.
#include <set>
#include <sstream>

#include "tests/capi/support.h"

namespace capi_test {
namespace {

std::set<std::string> linesOf(std::istream& stream) {
  std::set<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

// Of a command's output.
std::set<std::string> output(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string all;
  for (char buffer[4096]; fgets(buffer, sizeof buffer, pipe);) all += buffer;
  EXPECT_EQ(pclose(pipe), 0) << command;
  std::istringstream stream(all);
  return linesOf(stream);
}

TEST(Symbols, AreTheListedOnes) {
  std::ifstream listed(VELLO_SOURCE_DIR "/tests/capi/exported_symbols.txt");
  EXPECT_EQ(output("nm -D --defined-only " VELLO_LIBRARY " | cut -c18-"), linesOf(listed));
}

TEST(Symbols, VersionsAgree) {
  const std::string macros = std::to_string(VELLO_VERSION_MAJOR) + "." + std::to_string(VELLO_VERSION_MINOR) +
                             "." + std::to_string(VELLO_VERSION_PATCH);
  EXPECT_EQ(VelloVersion(), macros);
  EXPECT_EQ(PROJECT_VERSION, macros);
}

}  // namespace
}  // namespace capi_test
