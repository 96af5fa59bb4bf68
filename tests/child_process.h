// Runs a piece of a test in a process of its own, so that what it costs is known and a crash or a hang is
// only a result.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace vello::testing {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

struct ChildResult {
  int status = -1;     // as wait() gives it
  std::string output;  // standard output and standard error
};

struct ChildLimits {
  long mostSeconds = 120;  // of computing
  long mostMegabytes =
      0;  // of address space beyond what the parent has; 0: any. Sanitizers take all there is.
};

inline long addressSpaceKilobytes() {
  long pages = 0;
  if (FILE* file = fopen("/proc/self/statm", "r")) {
    if (fscanf(file, "%ld", &pages) != 1) pages = 0;
    fclose(file);
  }
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

inline void setLimits(const ChildLimits& limits) {
  const auto seconds = static_cast<rlim_t>(limits.mostSeconds);
  const rlimit cpu{seconds, seconds};
  setrlimit(RLIMIT_CPU, &cpu);
  if (limits.mostMegabytes == 0 || kSanitized) return;
  const auto bytes = static_cast<rlim_t>(addressSpaceKilobytes() + limits.mostMegabytes * 1024) * 1024;
  const rlimit space{bytes, bytes};
  setrlimit(RLIMIT_AS, &space);
}

// `body` returns the exit status. It may print, and replace the process; no other thread may be running.
template <class Body>
ChildResult runInChild(const ChildLimits& limits, Body body) {
  ChildResult result;
  int ends[2];
  if (pipe(ends) != 0) return result;
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], 1);
    dup2(ends[1], 2);
    close(ends[0]);
    close(ends[1]);
    setLimits(limits);
    const int status = body();
    fflush(nullptr);
    _exit(status);
  }
  close(ends[1]);
  char text[4096];
  for (ssize_t n; child > 0 && (n = read(ends[0], text, sizeof text)) > 0;)
    result.output.append(text, static_cast<size_t>(n));
  close(ends[0]);
  if (child > 0) waitpid(child, &result.status, 0);
  return result;
}

}  // namespace vello::testing
