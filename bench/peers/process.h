// Runs a program as a child and tells what it cost.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vello::bench {

struct Cost {
  double seconds = 0;     // on the wall clock, from before the start to after the end
  double cpuSeconds = 0;  // user and system, all threads
  int64_t peakBytes = 0;  // largest resident size
  std::string error;      // empty on success
};

struct Child {
  std::vector<std::string> arguments;                            // the program first
  std::string folder;                                            // where it runs
  std::vector<std::pair<std::string, std::string>> environment;  // on top of ours
  int cpuLimit = 0;                                              // seconds; 0: none
};

// What it prints goes to log.txt in its folder. Throws when this process is told to end (stopOnSignals),
// after the child has ended.
Cost run(const Child& child);
// What a command prints, both streams, at most 64 KB; empty when it cannot run.
std::string outputOf(const Child& child);
// The program's path, found as a shell finds it; empty when there is none.
std::string findProgram(const std::string& name);
// From now on SIGINT and SIGTERM end the running child and make run() throw.
void stopOnSignals();
// This process and its children keep to that many of the cores they may use.
void keepToCores(int count);
int usableCores();

}  // namespace vello::bench
