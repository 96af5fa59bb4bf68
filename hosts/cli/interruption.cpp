#include "hosts/cli/interruption.h"

#include <atomic>
#include <csignal>

namespace vello::cli {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> wasInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");

void note(int) { wasInterrupted = true; }

void handleAll(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int number : kSignals) {
    struct sigaction former = {};
    sigaction(number, nullptr, &former);
    // What a parent had ignored (nohup) stays so.
    if (former.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

}  // namespace

InterruptionGuard::InterruptionGuard() { handleAll(note); }
InterruptionGuard::~InterruptionGuard() { handleAll(SIG_DFL); }

bool interrupted() { return wasInterrupted; }

}  // namespace vello::cli
