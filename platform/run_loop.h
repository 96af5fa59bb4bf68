// This thread's run loop: timers, idle work and modes. Its clock can be turned by hand, so tests never wait.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string_view>

#include "platform/connection.h"

namespace vello {

inline constexpr std::string_view kDefaultRunLoopMode = "kCFRunLoopDefaultMode";
inline constexpr std::string_view kModalPanelRunLoopMode = "NSModalPanelRunLoopMode";
inline constexpr std::string_view kEventTrackingRunLoopMode = "NSEventTrackingRunLoopMode";

class RunLoop {
 public:
  // The thread's own, made on first use.
  static RunLoop& current();

  RunLoop();
  ~RunLoop();
  // Seconds, steady. With a hand-turned clock it only moves by advance().
  double now() const;
  void useManualClock();
  void advance(double seconds);

  // Fires once after `interval` seconds (or every `interval` when repeating) while the loop runs one of
  // `modes`. A repeating timer that comes too late fires once and keeps its beat. The returned Connection
  // cancels it, also from within.
  [[nodiscard]] Connection addTimer(double interval, bool repeats,
                                    std::initializer_list<std::string_view> modes,
                                    std::function<void()> fire);
  // Runs every timer that is due in `mode`, then the idle work (the notification queue). Never waits.
  void runOnce(std::string_view mode);
  // Turns `mode` until `finished` says so, waiting for the next timer in between; asks at least every 10 ms,
  // as another thread may decide it. With a hand-turned clock it moves the clock to the next timer instead of
  // waiting, and returns when nothing is left that could happen in `mode`.
  void runUntil(std::string_view mode, const std::function<bool()>& finished);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vello
