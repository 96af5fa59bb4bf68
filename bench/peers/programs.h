// The programs that are compared: where they are, and which versions.
#pragma once

#include <string>
#include <vector>

#include "bench/peers/process.h"

namespace vello::bench {

struct Program {
  std::string name;     // as in the jobs
  std::string path;     // empty when it cannot be used
  std::string version;  // or the reason why it cannot
};

// All known ones, ours first. `folder` is scratch space.
std::vector<Program> findPrograms(const std::string& velloPath, const std::string& folder);

// What keeps every program to `threads` threads and to memory. Writes an ImageMagick policy into `folder`:
// that of Debian sends pictures above 256 MiB to the disk.
std::vector<std::pair<std::string, std::string>> environmentFor(int threads, const std::string& folder);

}  // namespace vello::bench
