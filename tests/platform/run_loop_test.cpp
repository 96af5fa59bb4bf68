#include "platform/run_loop.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/notification_center.h"

using namespace vello;

namespace {

constexpr std::string_view kMode = kDefaultRunLoopMode;

class RunLoopTest : public testing::Test {
 protected:
  RunLoopTest() { loop.useManualClock(); }
  [[nodiscard]] Connection timer(double interval, bool repeats, char as) {
    return loop.addTimer(interval, repeats, {kMode}, [this, as] { fired += as; });
  }
  void advanceAndRun(double seconds, std::string_view mode = kMode) {
    loop.advance(seconds);
    loop.runOnce(mode);
  }
  RunLoop loop;
  std::string fired;
};

TEST_F(RunLoopTest, FiresInTheOrderOfTheTimes) {
  const Connection c = timer(0.3, false, 'c'), a = timer(0.1, false, 'a'), b = timer(0.1, false, 'b');
  advanceAndRun(0.05);
  EXPECT_EQ(fired, "");
  advanceAndRun(0.05);
  EXPECT_EQ(fired, "ab");
  advanceAndRun(10);
  EXPECT_EQ(fired, "abc");
}

TEST_F(RunLoopTest, ARepeatingTimerFiresOnceWhenLateAndKeepsItsBeat) {
  const Connection r = timer(1.0 / 60, true, 'r');
  for (int i = 0; i < 600; ++i) advanceAndRun(1.0 / 60);
  EXPECT_EQ(fired.size(), 600u);
  fired.clear();
  advanceAndRun(1.5 / 60);
  advanceAndRun(0.25 / 60);
  EXPECT_EQ(fired, "r");
  advanceAndRun(0.25 / 60);
  EXPECT_EQ(fired, "rr");
  advanceAndRun(100);
  EXPECT_EQ(fired, "rrr");
}

TEST_F(RunLoopTest, RoundingOfTheClockDelaysNoTimer) {
  for (const double step : {0.1, 0.2, 0.3, 0.7, 1.0 / 60, 1.0 / 24}) {
    fired.clear();
    std::vector<Connection> timers;
    for (int i = 1; i <= 200; ++i) timers.push_back(timer(step * i, false, 't'));
    for (size_t i = 1; i <= 200; ++i) {
      advanceAndRun(step);
      ASSERT_EQ(fired.size(), i) << step;
    }
  }
}

TEST_F(RunLoopTest, ATimerWaitsForItsModes) {
  const Connection t = loop.addTimer(0.1, false, {kModalPanelRunLoopMode, kEventTrackingRunLoopMode},
                                     [this] { fired += 't'; });
  advanceAndRun(1);
  EXPECT_EQ(fired, "");
  loop.runOnce(kEventTrackingRunLoopMode);
  loop.runOnce(kModalPanelRunLoopMode);
  EXPECT_EQ(fired, "t");
}

TEST_F(RunLoopTest, TimersMayBeCancelledAndAddedWhileOneFires) {
  Connection self, other, late;
  self = loop.addTimer(0.1, true, {kMode}, [&] {
    fired += 's';
    self.close();
    other.close();
    late = timer(0, false, 'l');
  });
  other = timer(0.2, false, 'o');
  advanceAndRun(1);
  EXPECT_EQ(fired, "s");
  loop.runOnce(kMode);
  EXPECT_EQ(fired, "sl");
}

TEST_F(RunLoopTest, ARunWithinATimerFiresEachOnce) {
  const Connection outer = loop.addTimer(0.1, false, {kMode}, [&] {
    fired += '(';
    loop.runOnce(kMode);
    fired += ')';
  });
  const Connection inner = timer(0.2, false, 'i');
  advanceAndRun(1);
  EXPECT_EQ(fired, "(i)");
}

TEST_F(RunLoopTest, IdleNotificationsComeAfterTheTimers) {
  NotificationCenter& center = NotificationCenter::defaultCenter();
  const Connection c = center.addObserver("idle", nullptr, [this](const Notification&) { fired += 'i'; });
  const Connection t = timer(0, false, 't');
  center.enqueueWhenIdle({"idle", nullptr, {}}, {kMode});
  loop.runOnce(kModalPanelRunLoopMode);
  EXPECT_EQ(fired, "");
  loop.runOnce(kMode);
  EXPECT_EQ(fired, "ti");
}

TEST_F(RunLoopTest, ARunWithAHandTurnedClockGoesFromTimerToTimer) {
  const double start = loop.now();
  const Connection r = timer(2, true, 'r');
  loop.runUntil(kMode, [this] { return fired.size() == 3; });
  EXPECT_NEAR(loop.now() - start, 6, 1e-6);
  loop.runUntil(kModalPanelRunLoopMode, [] { return false; });  // nothing to wait for
}

TEST_F(RunLoopTest, AConnectionMayOutliveItsLoop) {
  Connection connection;
  {
    RunLoop brief;
    connection = brief.addTimer(1, false, {kMode}, [] {});
  }
  connection.close();
}

TEST(RunLoop, WaitsForItsTimersOnTheSteadyClock) {
  RunLoop loop;
  const double start = loop.now();
  bool fired = false;
  const Connection t = loop.addTimer(0.02, false, {kMode}, [&] { fired = true; });
  loop.runUntil(kMode, [&] { return fired; });
  EXPECT_GE(loop.now() - start, 0.02 - 1e-6);
}

}  // namespace
