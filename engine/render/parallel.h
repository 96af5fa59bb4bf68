// Runs the parts of one job on all cores. Nothing is left running when it returns.
#pragma once

#include <cstdint>
#include <functional>

namespace vello {

// Calls part(0) .. part(count - 1), each once, in any order, on up to `threads` threads, the caller's among
// them. A part returning false ends the job early. Returns whether all parts said true. What a part throws
// ends the job and is thrown again.
bool runParts(int64_t count, int threads, const std::function<bool(int64_t)>& part);

// Cores this process may use.
int coreCount();

}  // namespace vello
