#include "platform/notification_center.h"

#include <gtest/gtest.h>

#include <thread>

using namespace vello;

namespace {

using Heard = std::vector<std::string>;

const int kSenderA = 0, kSenderB = 0;
constexpr std::string_view kMode = "mode", kOtherMode = "other";

Notification note(const char* name, const void* object = nullptr, PropertyList value = {}) {
  Notification notification{name, object, {}};
  notification.userInfo.set("value", std::move(value));
  return notification;
}

NotificationHandler hear(Heard& heard, const std::string& as) {
  return [&heard, as](const Notification&) { heard.push_back(as); };
}

TEST(NotificationCenter, TellsThoseWhoWantTheNameAndTheSenderInOrder) {
  NotificationCenter center;
  Heard heard;
  const Connection connections[] = {center.addObserver("n", nullptr, hear(heard, "any")),
                                    center.addObserver("n", &kSenderA, hear(heard, "a")),
                                    center.addObserver("m", nullptr, hear(heard, "m")),
                                    center.addObserver("n", &kSenderB, hear(heard, "b"))};
  center.post(note("n", &kSenderB));
  EXPECT_EQ(heard, (Heard{"any", "b"}));
  center.post(note("n"));
  EXPECT_EQ(heard, (Heard{"any", "b", "any"}));
}

TEST(NotificationCenter, ObserversMayComeAndGoWhileBeingTold) {
  NotificationCenter center;
  Heard heard;
  Connection self, second, late;
  self = center.addObserver("n", nullptr, [&](const Notification&) {
    heard.push_back("self");
    self.close();
    second.close();
    late = center.addObserver("n", nullptr, hear(heard, "late"));
  });
  second = center.addObserver("n", nullptr, hear(heard, "second"));
  const Connection third = center.addObserver("n", nullptr, hear(heard, "third"));
  center.post(note("n"));
  EXPECT_EQ(heard, (Heard{"self", "third"}));
  center.post(note("n"));
  EXPECT_EQ(heard, (Heard{"self", "third", "third", "late"}));
}

TEST(NotificationCenter, AConnectionMayOutliveItsCentre) {
  auto center = std::make_unique<NotificationCenter>();
  Connection connection = center->addObserver("n", nullptr, [](const Notification&) {});
  center.reset();
  connection.close();
}

TEST(NotificationCenter, TheIdleQueueCoalescesOnNameAndSender) {
  NotificationCenter center;
  Heard heard;
  const auto record = [&](const Notification& n) {
    heard.push_back(n.name + (n.object == &kSenderA ? "A" : "B") +
                    std::to_string(static_cast<int>(n.userInfo.find("value")->number())));
  };
  const Connection n = center.addObserver("n", nullptr, record), m = center.addObserver("m", nullptr, record);
  center.enqueueWhenIdle(note("n", &kSenderA, 1), {kMode});
  center.enqueueWhenIdle(note("n", &kSenderB, 2), {kMode});
  center.enqueueWhenIdle(note("m", &kSenderA, 3), {kMode});
  center.enqueueWhenIdle(note("n", &kSenderA, 4), {kMode});
  EXPECT_TRUE(heard.empty());
  center.deliverIdle(kMode);
  EXPECT_EQ(heard, (Heard{"nB2", "mA3", "nA4"}));
  center.deliverIdle(kMode);
  EXPECT_EQ(heard.size(), 3u);
}

TEST(NotificationCenter, TheIdleQueueKeepsToItsModes) {
  NotificationCenter center;
  Heard heard;
  const Connection c = center.addObserver("n", nullptr, hear(heard, "n"));
  center.enqueueWhenIdle(note("n"), {kOtherMode, "third"});
  EXPECT_FALSE(center.hasIdle(kMode));
  EXPECT_TRUE(center.hasIdle(kOtherMode));
  center.deliverIdle(kMode);
  EXPECT_TRUE(heard.empty());
  center.deliverIdle("third");
  EXPECT_EQ(heard, Heard{"n"});
  EXPECT_FALSE(center.hasIdle(kOtherMode));
}

TEST(NotificationCenter, WhatIsQueuedDuringDeliveryWaitsAndWhatIsTakenOutStaysOut) {
  NotificationCenter center;
  Heard heard;
  const Connection first = center.addObserver("n", &kSenderA, [&](const Notification&) {
    heard.push_back("a");
    center.dequeue(&kSenderB);
    center.enqueueWhenIdle(note("n", &kSenderA), {kMode});
  });
  const Connection second = center.addObserver("n", &kSenderB, hear(heard, "b"));
  center.enqueueWhenIdle(note("n", &kSenderA), {kMode});
  center.enqueueWhenIdle(note("n", &kSenderB), {kMode});
  center.deliverIdle(kMode);
  EXPECT_EQ(heard, Heard{"a"});
  EXPECT_TRUE(center.hasIdle(kMode));
}

TEST(NotificationCenter, EveryThreadHasItsOwn) {
  const NotificationCenter* other = nullptr;
  std::thread([&] { other = &NotificationCenter::defaultCenter(); }).join();
  EXPECT_NE(other, &NotificationCenter::defaultCenter());
}

}  // namespace
