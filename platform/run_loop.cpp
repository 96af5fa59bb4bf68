#include "platform/run_loop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "platform/notification_center.h"

namespace vello {
namespace {

constexpr double kClockTolerance = 1e-9;      // sums of the same intervals may differ in their last bits
constexpr double kShortestInterval = 0.0001;  // of a repeating timer
constexpr double kLongestWait = 0.01;         // after this, what a run waits for is asked again

struct Timer {
  double due;
  double interval;
  bool repeats;
  std::vector<std::string> modes;
  std::function<void()> fire;
  uint64_t serial;

  bool runsIn(std::string_view mode) const {
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
  }
};

using Timers = std::vector<std::shared_ptr<Timer>>;

double steadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

struct RunLoop::State {
  std::shared_ptr<Timers> timers = std::make_shared<Timers>();  // connections may outlive the loop
  uint64_t nextSerial = 0;
  bool manual = false;
  double manualNow = 0;

  // The earliest timer of `mode` among those added before `serialEnd`.
  std::shared_ptr<Timer> earliest(std::string_view mode, uint64_t serialEnd) const {
    std::shared_ptr<Timer> best;
    for (const auto& timer : *timers) {
      if (timer->serial < serialEnd && timer->runsIn(mode) && (!best || timer->due < best->due)) best = timer;
    }
    return best;
  }
  double nextDue(std::string_view mode) const {
    const auto timer = earliest(mode, nextSerial);
    return timer ? timer->due : std::numeric_limits<double>::infinity();
  }
  // A repeating timer that is late fires once and keeps its beat.
  void fire(const std::shared_ptr<Timer>& timer, double now) {
    if (timer->repeats) {
      const double late = std::max(0.0, now + kClockTolerance - timer->due);
      timer->due += timer->interval * (std::floor(late / timer->interval) + 1);
    } else {
      std::erase(*timers, timer);
    }
    timer->fire();
  }
};

RunLoop& RunLoop::current() {
  thread_local RunLoop loop;
  return loop;
}

RunLoop::RunLoop() : state_(std::make_unique<State>()) {}
RunLoop::~RunLoop() = default;

double RunLoop::now() const { return state_->manual ? state_->manualNow : steadySeconds(); }

void RunLoop::useManualClock() {
  state_->manualNow = now();
  state_->manual = true;
}

void RunLoop::advance(double seconds) { state_->manualNow += seconds; }

Connection RunLoop::addTimer(double interval, bool repeats, std::initializer_list<std::string_view> modes,
                             std::function<void()> fire) {
  if (repeats) interval = std::max(interval, kShortestInterval);
  const auto timer = std::make_shared<Timer>(Timer{now() + interval,
                                                   interval,
                                                   repeats,
                                                   {modes.begin(), modes.end()},
                                                   std::move(fire),
                                                   state_->nextSerial++});
  state_->timers->push_back(timer);
  return Connection([timers = std::weak_ptr<Timers>(state_->timers), weak = std::weak_ptr<Timer>(timer)] {
    const auto alive = timers.lock();
    if (alive) std::erase(*alive, weak.lock());
  });
}

void RunLoop::runOnce(std::string_view mode) {
  const double end = now();
  const uint64_t serialEnd = state_->nextSerial;  // a timer added meanwhile waits for the next time
  while (const auto timer = state_->earliest(mode, serialEnd)) {
    if (timer->due > end + kClockTolerance) break;
    state_->fire(timer, end);
  }
  NotificationCenter::defaultCenter().deliverIdle(mode);
}

void RunLoop::runUntil(std::string_view mode, const std::function<bool()>& finished) {
  while (!finished()) {
    runOnce(mode);
    if (finished()) return;
    if (NotificationCenter::defaultCenter().hasIdle(mode)) continue;
    const double wait = std::max(0.0, state_->nextDue(mode) - now());
    if (!state_->manual)
      std::this_thread::sleep_for(std::chrono::duration<double>(std::min(wait, kLongestWait)));
    else if (std::isinf(wait))
      return;
    else
      advance(wait);
  }
}

}  // namespace vello
