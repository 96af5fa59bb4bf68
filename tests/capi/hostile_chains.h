// Chains that nobody means well with, made by rule. Each says what must come of it.
#pragma once

#include <string>
#include <vector>

namespace capi_test {

enum class Outcome {
  source,    // refused as a whole: one line in the log, the picture as it was
  none,      // no pixels: one line in the log
  pixels,    // rendered, whatever the picture then looks like
  survived,  // rendered, or no pixels and a line
};

struct HostileChain {
  std::string name, text;
  Outcome outcome;
};

// `folder` holds the files that some of them name: see hostile_files.
std::vector<HostileChain> hostileChains(const std::string& folder);
// Lays a pipe, links, folders and broken pictures into the folder.
void makeHostileFiles(const std::string& folder);

}  // namespace capi_test
