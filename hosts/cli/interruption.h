// Ctrl-C and termination: noted, so that what is being written is finished or left as it was.
#pragma once

namespace vello::cli {

// While one lives, SIGINT, SIGTERM and SIGHUP only set a flag.
class InterruptionGuard {
 public:
  InterruptionGuard();
  ~InterruptionGuard();
  InterruptionGuard(const InterruptionGuard&) = delete;
  InterruptionGuard& operator=(const InterruptionGuard&) = delete;
};

// Safe from any thread.
bool interrupted();

}  // namespace vello::cli
