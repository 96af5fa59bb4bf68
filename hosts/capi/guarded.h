// What stands around every exported function: nothing escapes into the host.
#pragma once

#include <cfenv>
#include <exception>
#include <new>
#include <string>

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

// The reason and what it is about, such as the name of a filter. A chain may name anything: cut short.
inline void logFailure(const char* function, const KPException& exception) {
  constexpr size_t kLongest = 200;
  try {
    std::string reason = exception.reason();
    for (const PropertyListMember& member : exception.userInfo().members())
      if (member.value.string()) reason += ": " + member.value.string()->substr(0, kLongest);
    logFailure(function, reason.c_str());
  } catch (...) {
  }
}

// The mode results are computed in, whatever the host's: round to nearest, no traps. The host gets its own
// back.
class DefaultFloatingPoint {
 public:
  DefaultFloatingPoint() {
    std::fegetenv(&host_);
    std::fesetenv(FE_DFL_ENV);
  }
  DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
  DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;
  ~DefaultFloatingPoint() { std::fesetenv(&host_); }

 private:
  std::fenv_t host_{};
};

// What `work` returns, or `otherwise` when it raises, with one log line.
template <class Result, class Work>
Result guarded(const char* function, Result otherwise, Work work) noexcept {
  const DefaultFloatingPoint mode;
  try {
    return work();
  } catch (const KPException& e) {
    logFailure(function, e);
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
