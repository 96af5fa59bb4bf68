// Chains from anywhere: no crash, no hang, little memory, and what the documentation says of each kind.
#include "tests/capi/hostile_chains.h"

#include <algorithm>
#include <sstream>

#include "tests/capi/support.h"
#include "tests/child_process.h"

namespace capi_test {
namespace {

// Sanitizers keep freed memory and shadows of all of it.
constexpr long kMostKilobytes = (vello::testing::kSanitized ? 4 : 1) * 200 * 1024;

struct Finished : vello::testing::ChildResult {
  std::string word;  // as chain_runner says it
  size_t lines = 0;
};

// Renders the chain in a process of its own.
Finished runChain(const TemporaryFolder& folder, const std::string& chain) {
  const std::string file = folder.write("chain", chain);
  Finished result{vello::testing::runInChild({}, [&file] {
    execl(VELLO_CHAIN_RUNNER, VELLO_CHAIN_RUNNER, file.c_str(), nullptr);
    return 127;
  })};
  std::istringstream(result.output) >> result.word >> result.lines;
  return result;
}

bool isAsExpected(const Finished& run, Outcome outcome) {
  switch (outcome) {
    case Outcome::source:
      return run.word == "source" && run.lines == 1;
    case Outcome::none:
      return run.word == "none" && run.lines == 1;
    case Outcome::pixels:
      return run.word == "source" || run.word == "changed";
    case Outcome::survived:
      return run.word == "source" || run.word == "changed" || (run.word == "none" && run.lines == 1);
  }
  return false;
}

TEST(HostileChains, DoWhatTheirKindSaysInLittleMemory) {
  const TemporaryFolder folder;
  makeHostileFiles(folder.file(""));
  const auto chains = hostileChains(folder.file(""));
  ASSERT_GE(chains.size(), 250u);
  const long plain = runChain(folder, chainOf(box("CIColorInvert"))).kilobytes;
  const HostileChain* slowest = nullptr;
  const HostileChain* largest = nullptr;
  double seconds = 0;
  long kilobytes = 0;
  for (const HostileChain& chain : chains) {
    const Finished run = runChain(folder, chain.text);
    const std::string start = run.output.substr(0, 300);
    EXPECT_EQ(run.status, 0) << chain.name.substr(0, 200) << "\n" << start;
    EXPECT_TRUE(isAsExpected(run, chain.outcome)) << chain.name.substr(0, 200) << "\n" << start;
    EXPECT_LT(run.kilobytes - plain, kMostKilobytes) << chain.name.substr(0, 200);
    if (run.seconds > seconds) seconds = run.seconds, slowest = &chain;
    if (run.kilobytes > kilobytes) kilobytes = run.kilobytes, largest = &chain;
  }
  std::cout << chains.size() << " chains; slowest " << seconds << " s: " << slowest->name.substr(0, 80)
            << "; largest +" << (kilobytes - plain) / 1024 << " MB: " << largest->name.substr(0, 80) << "\n";
}

}  // namespace
}  // namespace capi_test
