// What was measured, as a table for people and as JSON for programs.
#pragma once

#include <string>
#include <vector>

#include "bench/peers/measure.h"

namespace vello::bench {

// A peer's processing time over ours: above 1 ours is faster. Whole runs for start-up.
double timesFaster(const JobResult& job, const Row& peer);

std::string tableOf(const std::vector<JobResult>& results, const Settings& settings);
std::string jsonOf(const std::vector<JobResult>& results, const Settings& settings);

}  // namespace vello::bench
