// The chains that come with the program are read without a word of complaint.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "source/core/stack/chain_check.h"

namespace vello {
namespace {

namespace fs = std::filesystem;

TEST(SampleChains, HaveNoProblem) {
  int count = 0;
  for (const auto& entry : fs::directory_iterator(fs::path(VELLO_SOURCE_DIR) / "examples/chains")) {
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    for (const ChainProblem& problem : checkChain(text))
      ADD_FAILURE() << entry.path().filename() << ": " << describe(problem);
    ++count;
  }
  EXPECT_GE(count, 3);
}

}  // namespace
}  // namespace vello
