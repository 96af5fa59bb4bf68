// Notifications, the idle queue and this thread's default centre. One centre belongs to one thread.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/connection.h"
#include "platform/property_list.h"

namespace vello {

struct Notification {
  std::string name;
  const void* object = nullptr;  // the sender, compared by address; never followed by the centre
  PropertyListDictionary userInfo;
};

using NotificationHandler = std::function<void(const Notification&)>;

class NotificationCenter {
 public:
  // The thread's own, made on first use.
  static NotificationCenter& defaultCenter();

  NotificationCenter();
  ~NotificationCenter();
  // A null `object` means any sender. Handlers are called in the order they were added, on the posting
  // thread.
  [[nodiscard]] Connection addObserver(std::string_view name, const void* object,
                                       NotificationHandler handler);
  void post(const Notification& notification);

  // Queues the notification until the run loop is idle in one of `modes`. Coalesces: one of equal name and
  // sender that waits already is dropped, so a stream of them arrives once, as the last one.
  void enqueueWhenIdle(Notification notification, std::initializer_list<std::string_view> modes);
  // Delivers what waits for `mode`; the run loop calls it when it has nothing else to do.
  void deliverIdle(std::string_view mode);
  bool hasIdle(std::string_view mode) const;
  // Forgets what `object` has waiting; an object calls it before it goes.
  void dequeue(const void* object);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vello
