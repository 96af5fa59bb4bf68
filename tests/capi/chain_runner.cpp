// Renders the chain of a file on a small picture and says in one word what came of it, so that what a chain
// costs can be seen from outside: "source", "changed" or "none"; then how many log lines there were, the
// kilobytes that were held at most, and the lines.
//
//   chain_runner CHAIN
#include <algorithm>
#include <iterator>

#include "tests/capi/support.h"

static std::string contentsOf(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Of this program alone: what the system says of a process counts what it was before it became this program.
static long mostKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

int main(int argc, char** argv) {
  using namespace capi_test;
  if (argc != 2) return 2;
  alarm(120);  // against a chain that never ends
  LogLines log;
  // Bytes of any kind come from a file; what exceeds the file's limit is text.
  const CFStringRef fromFile = VelloStringCreateWithFile(argv[1]);
  const Owned<CFStringRef> chain = fromFile ? fromFile : VelloStringCreate(contentsOf(argv[1]).c_str());
  log.clear();
  const auto source = pixelsOf(64, 48, true);
  const auto image = imageOf(64, 48, source);
  CFDataRef pixels = nullptr;
  CreateFilteredImageWithChain(image, chain, &pixels, nullptr, nullptr);
  const bool same = pixels && std::equal(source.begin(), source.end(),
                                         static_cast<const uint8_t*>(VelloDataGetBytes(pixels)));
  printf("%s %zu %ld\n%s",
         !pixels ? "none"
         : same  ? "source"
                 : "changed",
         log.count(), mostKilobytes(), log.all().c_str());
  VelloRelease(pixels);
}
