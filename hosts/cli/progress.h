// The progress of several pictures at once, as a bar at the bottom of the terminal with the time left.
// Without a terminal nothing is drawn.
#pragma once

#include <chrono>
#include <mutex>
#include <vector>

namespace vello::cli {

class Progress {
 public:
  // Of `count` pictures, none begun.
  explicit Progress(size_t count);
  ~Progress() { finish(); }
  // From any thread: the finished share of one picture, 0..1.
  void update(size_t picture, double share);
  // Removes the bar.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  void draw();

  std::mutex mutex_;
  std::vector<double> shares_;
  Clock::time_point start_, lastDrawn_;
  bool enabled_;
};

}  // namespace vello::cli
