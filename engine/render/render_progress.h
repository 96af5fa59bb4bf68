// How far a render is, for whoever waits for it.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>

namespace vello {

inline constexpr char kRenderAbandoned[] = "the render was abandoned";
inline constexpr char kNoMemoryForRender[] = "there is not enough memory for this render";

// Of the whole render, 0..1, what is told of one stretch of it.
struct RenderShare {
  double begin = 0, size = 0;
  bool ofResult = false;  // finished tiles are told
};

// Tells how much is done and takes the first error of any thread.
class RenderProgress {
 public:
  // Of `area` samples, which are this share of the render.
  RenderProgress(const std::function<bool(double)>& told, const RenderShare& share, double area)
      : told_(told), share_(share), area_(area) {}
  bool stopped() const { return stopped_; }
  bool fail(std::string text) {
    const std::lock_guard lock(mutex_);
    if (error_.empty()) error_ = std::move(text);
    stopped_ = true;
    return false;
  }
  bool finished(double samples) {
    {
      const std::lock_guard lock(mutex_);
      done_ += samples;
      if (!told_ || told_(std::min(1.0, share_.begin + share_.size * done_ / area_))) return true;
    }
    return fail(kRenderAbandoned);
  }
  const std::string& error() const { return error_; }

 private:
  std::mutex mutex_;
  std::string error_;
  std::atomic<bool> stopped_{false};
  double done_ = 0;
  const std::function<bool(double)>& told_;
  const RenderShare share_;
  const double area_;
};

}  // namespace vello
