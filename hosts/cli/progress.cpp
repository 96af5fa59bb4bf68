#include "hosts/cli/progress.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "hosts/cli/console.h"

namespace vello::cli {
namespace {

constexpr int kBarWidth = 30;
constexpr double kSecondsBetweenDrawings = 0.1;
// Before this an estimate of the rest is a guess.
constexpr double kSecondsBeforeEstimate = 2;

std::string timeText(double seconds) {
  const auto whole = static_cast<int64_t>(std::ceil(seconds));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

double secondsBetween(std::chrono::steady_clock::time_point a, std::chrono::steady_clock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

}  // namespace

Progress::Progress(size_t count)
    : shares_(count), start_(Clock::now()), lastDrawn_(start_), enabled_(standardErrorIsTerminal()) {}

void Progress::update(size_t picture, double share) {
  if (!enabled_) return;
  const std::lock_guard lock(mutex_);
  shares_[picture] = std::clamp(share, 0.0, 1.0);
  const Clock::time_point now = Clock::now();
  if (secondsBetween(lastDrawn_, now) < kSecondsBetweenDrawings) return;
  lastDrawn_ = now;
  draw();
}

void Progress::draw() {
  const double share =
      std::accumulate(shares_.begin(), shares_.end(), 0.0) / static_cast<double>(shares_.size());
  const auto finished = std::count(shares_.begin(), shares_.end(), 1.0);
  const int filled = static_cast<int>(share * kBarWidth);
  std::string text = "[" + std::string(static_cast<size_t>(filled), '#') +
                     std::string(static_cast<size_t>(kBarWidth - filled), '.') + "] " +
                     std::to_string(static_cast<int>(share * 100)) + " %";
  if (shares_.size() > 1) text += ", " + std::to_string(finished) + " of " + std::to_string(shares_.size());
  const double elapsed = secondsBetween(start_, lastDrawn_);
  if (elapsed > kSecondsBeforeEstimate && share > 0)
    text += ", " + timeText(elapsed * (1 - share) / share) + " left";
  setStatusLine(text);
}

void Progress::finish() {
  if (enabled_) setStatusLine("");
}

}  // namespace vello::cli
