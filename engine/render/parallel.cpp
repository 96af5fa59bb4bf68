#include "engine/render/parallel.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "engine/render/sample_block.h"

namespace vello {

bool runParts(int64_t count, int threads, const std::function<bool(int64_t)>& part) {
  std::atomic<int64_t> next{0};
  std::atomic<bool> good{true};
  std::exception_ptr problem;
  std::mutex mutex;
  const auto work = [&] {
    const SampleArena arena;
    try {
      for (int64_t i; good && (i = next++) < count;)
        if (!part(i)) good = false;
    } catch (...) {
      const std::lock_guard lock(mutex);
      problem = std::current_exception();
      good = false;
    }
  };
  std::vector<std::thread> helpers;
  const auto wanted = static_cast<size_t>(std::min<int64_t>(threads, count));
  while (helpers.size() + 1 < wanted) helpers.emplace_back(work);
  work();
  for (std::thread& helper : helpers) helper.join();
  if (problem) std::rethrow_exception(problem);
  return good;
}

int coreCount() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
  return std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace vello
