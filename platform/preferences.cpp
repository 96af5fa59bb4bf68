#include "platform/preferences.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/log.h"
#include "platform/preferences_file.h"

namespace vello {
namespace {

constexpr std::string_view kRefusedValue = "*** Vello : preference \"%@\" not stored: %@";

struct Observer {
  std::string key;
  std::function<void()> changed;
  std::atomic<bool> connected = true;
};

}  // namespace

struct Preferences::State {
  explicit State(std::string path) : file(std::move(path)) {}

  PreferencesFile file;
  mutable std::mutex mutex;  // held for everything below, not while observers are told
  PropertyListDictionary stored;
  // What could not be written yet; nil removes. It lies over what is read from the file.
  std::map<std::string, PropertyList, std::less<>> pending;
  PropertyListDictionary registered;
  std::vector<std::shared_ptr<Observer>> observers;

  PropertyList value(std::string_view key) const {
    const PropertyList* found = stored.find(key);
    if (!found) found = registered.find(key);
    return found ? *found : PropertyList();
  }
  void applyPending(PropertyListDictionary& dictionary) const {
    for (const auto& [key, value] : pending) {
      if (value.isNil())
        dictionary.erase(key);
      else
        dictionary.set(key, value);
    }
  }
  void write() {
    auto written = file.update([this](PropertyListDictionary& dictionary) { applyPending(dictionary); });
    if (written)
      pending.clear(), stored = *std::move(written);
    else
      applyPending(stored);
  }
  void read() {
    if (!pending.empty()) return write();
    if (auto dictionary = file.read()) stored = *std::move(dictionary);
  }
  // Tells the observers of each key whose value `work` changed.
  template <class Work>
  void change(Work work) {
    std::vector<std::pair<std::shared_ptr<Observer>, PropertyList>> watched;
    {
      const std::lock_guard lock(mutex);
      for (const auto& observer : observers) watched.emplace_back(observer, value(observer->key));
      work();
      std::erase_if(watched, [this](const auto& one) { return one.second == value(one.first->key); });
    }
    for (const auto& one : watched) {
      if (one.first->connected) one.first->changed();
    }
  }
};

Preferences& Preferences::domain(std::string_view domain) {
  using Domains = std::map<std::string, Preferences, std::less<>>;
  static std::mutex mutex;
  static Domains& domains = *std::make_unique<Domains>().release();  // threads may outlive main()
  const std::lock_guard lock(mutex);
  const auto found = domains.find(domain);
  if (found != domains.end()) return found->second;
  return domains.emplace(domain, Preferences(std::string(domain))).first->second;
}

Preferences::Preferences(const std::string& domain)
    : state_(std::make_shared<State>(preferencesPath(domain))) {
  state_->read();
}

PropertyList Preferences::value(std::string_view key) const {
  const std::lock_guard lock(state_->mutex);
  return state_->value(key);
}

void Preferences::set(std::string_view key, PropertyList value) {
  PropertyListDictionary alone;
  if (!value.isNil()) alone.set(key, value);
  // One value that cannot be written would keep all others from being written.
  if (const PropertyListText text = writePropertyListXML(alone); !text.ok()) {
    return logLine(kRefusedValue, {std::string(key), text.error});
  }
  state_->change([&] {
    state_->pending.insert_or_assign(std::string(key), std::move(value));
    state_->write();
  });
}

void Preferences::registerDefault(std::string_view key, PropertyList value) {
  state_->change([&] { state_->registered.set(key, std::move(value)); });
}

Connection Preferences::observe(std::string_view key, std::function<void()> changed) {
  const auto observer = std::make_shared<Observer>();
  observer->key = key;
  observer->changed = std::move(changed);
  const std::lock_guard lock(state_->mutex);
  state_->observers.push_back(observer);
  return Connection([state = std::weak_ptr<State>(state_), observer] {
    observer->connected = false;
    const auto alive = state.lock();
    if (!alive) return;
    const std::lock_guard held(alive->mutex);
    std::erase(alive->observers, observer);
  });
}

void Preferences::synchronize() {
  state_->change([this] { state_->read(); });
}

}  // namespace vello
