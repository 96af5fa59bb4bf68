// What observes something holds a Connection; the observation ends when the Connection is destroyed or
// closed.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace vello {

class Connection {
 public:
  Connection() = default;
  explicit Connection(std::function<void()> disconnect) : disconnect_(std::move(disconnect)) {}
  Connection(Connection&& other) noexcept : disconnect_(std::exchange(other.disconnect_, nullptr)) {}
  Connection& operator=(Connection&& other) noexcept {
    if (this != &other) {
      close();
      disconnect_ = std::exchange(other.disconnect_, nullptr);
    }
    return *this;
  }
  ~Connection() { close(); }
  void close() {
    if (auto disconnect = std::exchange(disconnect_, nullptr)) disconnect();
  }
  explicit operator bool() const { return static_cast<bool>(disconnect_); }

 private:
  std::function<void()> disconnect_;
};

// The observers of one thing, told in the order they came. One may leave, or a new one come, while all are
// being told: who left is not told any more, who came is told from the next time on. Lives on one thread.
template <class... Args>
class ObserverList {
 public:
  Connection add(std::function<void(Args...)> observer) {
    auto entry = std::make_shared<Observer>(std::move(observer));
    entries_->push_back(entry);
    return Connection([entries = std::weak_ptr<Entries>(entries_), weak = std::weak_ptr<Observer>(entry)] {
      const auto gone = weak.lock();
      if (!gone) return;
      *gone = nullptr;
      if (const auto alive = entries.lock()) std::erase(*alive, gone);
    });
  }
  void notify(Args... args) const {
    const Entries snapshot = *entries_;
    for (const auto& entry : snapshot) {
      const Observer observer = *entry;
      if (observer) observer(args...);
    }
  }
  bool empty() const { return entries_->empty(); }

 private:
  using Observer = std::function<void(Args...)>;
  using Entries = std::vector<std::shared_ptr<Observer>>;
  std::shared_ptr<Entries> entries_ = std::make_shared<Entries>();
};

}  // namespace vello
