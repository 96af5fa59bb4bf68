// Preferences: one XML property list per domain in the user's configuration folder. Safe from any thread and,
// through a lock file, from several processes. Every write is read, change, write to a new file, sync,
// rename. A damaged file is kept aside under another name and reported once; an unwritable folder is a log
// line, never an error: what was set is then kept in memory and written when that becomes possible.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/connection.h"
#include "platform/property_list.h"

namespace vello {

class Preferences {
 public:
  // `domain` is the file's stem: "effects" for the plug-in's own, "host-<tag>" for the standard defaults of a
  // host.
  static Preferences& domain(std::string_view domain);
  Preferences(Preferences&&) = default;

  PropertyList value(std::string_view key) const;  // the stored value, else the registered one, else nil
  // nil removes the key; a value that no property list can hold is logged and not stored.
  void set(std::string_view key, PropertyList value);
  // A default below the stored values; never written.
  void registerDefault(std::string_view key, PropertyList value);
  // `changed` is called on the thread that changed the value, or learnt by synchronize() that it has changed.
  [[nodiscard]] Connection observe(std::string_view key, std::function<void()> changed);
  // Reads the file again, as another process may have written it.
  void synchronize();

 private:
  explicit Preferences(const std::string& domain);
  struct State;
  std::shared_ptr<State> state_;  // connections refer to it
};

}  // namespace vello
