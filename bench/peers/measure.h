// Runs the jobs with every program in turn.
#pragma once

#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "bench/peers/jobs.h"
#include "bench/peers/programs.h"

namespace vello::bench {

struct Settings {
  std::string folder;  // scratch space, ours alone
  std::vector<Program> programs;
  std::regex jobs{""};
  int runs = 5;
  double patience = 1e9;  // seconds after which a program is not run again for the same job
  int threads = 2;
  int cpuLimit = 1800;        // seconds a command may compute
  bool copyBaseline = false;  // what is taken off: a mere copy instead of the conversion there and back
};

// One program at one job. Seconds are medians.
struct Row {
  std::string program;
  Work work = Work::linearFloat;
  std::string note, error;  // with an error there are no figures
  int runs = 0;
  double seconds = 0;     // whole run
  double net = 0;         // processing alone: what a run took more than loading and saving the same result
  double cpuNet = 0;      // the same in processor time of all threads, which other load disturbs less
  double noise = 0;       // median distance of the single figures from `net`
  int64_t peakBytes = 0;  // largest of the runs
  std::optional<double> difference;  // from our result, mean, in steps of 8 bit
  // Whether `net` can be told from nothing.
  bool resolved() const { return net > 2 * noise && net > 1e-3; }
};

struct JobResult {
  Size size;  // of the picture: 1 x 1 for start-up
  std::string name, title;
  std::vector<Row> rows;
  const Row* of(const std::string& program) const;  // null without figures
};

// All jobs that match at one size. Prints what it is doing to standard error.
std::vector<JobResult> measure(Size size, const Settings& settings);

}  // namespace vello::bench
