#include "platform/notification_center.h"

#include <algorithm>

namespace vello {
namespace {

struct Observer {
  std::string name;
  const void* object;
  NotificationHandler handler;
  bool connected = true;

  bool wants(const Notification& notification) const {
    return name == notification.name && (!object || object == notification.object);
  }
};

using Observers = std::vector<std::shared_ptr<Observer>>;

struct Waiting {
  Notification notification;
  std::vector<std::string> modes;
  uint64_t serial;  // ascends along the queue

  bool waitsFor(std::string_view mode) const {
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
  }
};

}  // namespace

struct NotificationCenter::State {
  std::shared_ptr<Observers> observers = std::make_shared<Observers>();  // connections may outlive the centre
  std::vector<Waiting> queue;
  uint64_t nextSerial = 0;
};

NotificationCenter& NotificationCenter::defaultCenter() {
  thread_local NotificationCenter center;
  return center;
}

NotificationCenter::NotificationCenter() : state_(std::make_unique<State>()) {}
NotificationCenter::~NotificationCenter() = default;

Connection NotificationCenter::addObserver(std::string_view name, const void* object,
                                           NotificationHandler handler) {
  const auto observer = std::make_shared<Observer>(Observer{std::string(name), object, std::move(handler)});
  state_->observers->push_back(observer);
  return Connection(
      [observers = std::weak_ptr<Observers>(state_->observers), weak = std::weak_ptr<Observer>(observer)] {
        const auto gone = weak.lock();
        if (!gone) return;
        gone->connected = false;
        if (const auto alive = observers.lock()) std::erase(*alive, gone);
      });
}

void NotificationCenter::post(const Notification& notification) {
  Observers wanting;
  std::copy_if(state_->observers->begin(), state_->observers->end(), std::back_inserter(wanting),
               [&](const auto& observer) { return observer->wants(notification); });
  for (const auto& observer : wanting) {
    if (observer->connected) observer->handler(notification);
  }
}

void NotificationCenter::enqueueWhenIdle(Notification notification,
                                         std::initializer_list<std::string_view> modes) {
  std::erase_if(state_->queue, [&](const Waiting& waiting) {
    return waiting.notification.name == notification.name &&
           waiting.notification.object == notification.object;
  });
  state_->queue.push_back({std::move(notification), {modes.begin(), modes.end()}, state_->nextSerial++});
}

void NotificationCenter::deliverIdle(std::string_view mode) {
  const uint64_t end = state_->nextSerial;  // what is queued meanwhile waits for the next time
  while (true) {
    const auto next = std::find_if(state_->queue.begin(), state_->queue.end(), [&](const Waiting& waiting) {
      return waiting.serial < end && waiting.waitsFor(mode);
    });
    if (next == state_->queue.end()) return;
    const Notification notification = std::move(next->notification);
    state_->queue.erase(next);
    post(notification);
  }
}

bool NotificationCenter::hasIdle(std::string_view mode) const {
  return std::any_of(state_->queue.begin(), state_->queue.end(),
                     [mode](const Waiting& waiting) { return waiting.waitsFor(mode); });
}

void NotificationCenter::dequeue(const void* object) {
  std::erase_if(state_->queue,
                [object](const Waiting& waiting) { return waiting.notification.object == object; });
}

}  // namespace vello
