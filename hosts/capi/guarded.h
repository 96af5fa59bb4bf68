// What stands around every exported function: nothing escapes into the host.
#pragma once

#include <exception>
#include <new>

#include "platform/exception.h"
#include "platform/log.h"

namespace vello {

inline constexpr const char* kGuardedFailure = "*** Vello : %@: %@\n";

// The line itself may need memory that is not there.
inline void logFailure(const char* function, const char* reason) {
  try {
    logLine(kGuardedFailure, {function, reason});
  } catch (...) {
  }
}

// What `work` returns, or `otherwise` when it raises, with one log line.
template <class Result, class Work>
Result guarded(const char* function, Result otherwise, Work work) noexcept {
  try {
    return work();
  } catch (const KPException& e) {
    logFailure(function, e.what());
  } catch (const std::bad_alloc&) {
    logFailure(function, "memory is short");
  } catch (const std::exception& e) {
    logFailure(function, e.what());
  } catch (...) {
    logFailure(function, "an unknown exception");
  }
  return otherwise;
}

template <class Work>
void guarded(const char* function, Work work) noexcept {
  guarded(function, 0, [&] {
    work();
    return 0;
  });
}

}  // namespace vello
