#pragma once

#include <chrono>

namespace vello::cli {

// Adds the seconds of its lifetime to a sum.
class SecondsSpent {
 public:
  explicit SecondsSpent(double& sum) : sum_(sum) {}
  ~SecondsSpent() { sum_ += std::chrono::duration<double>(Clock::now() - start_).count(); }
  SecondsSpent(const SecondsSpent&) = delete;
  SecondsSpent& operator=(const SecondsSpent&) = delete;

 private:
  using Clock = std::chrono::steady_clock;
  double& sum_;
  const Clock::time_point start_ = Clock::now();
};

}  // namespace vello::cli
