// Preferences: one XML property list per domain in the user's configuration folder. Safe from any thread and,
// through a lock file, from several processes. Every write is read, change, write to a new file, sync,
// rename. A damaged file is kept aside under another name and reported once; an unwritable folder is a log
// line, never an error.
#pragma once

#include <functional>
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

  PropertyList value(std::string_view key) const;      // the stored value, else the registered one, else nil
  void set(std::string_view key, PropertyList value);  // nil removes the key
  // A default below the stored values; never written.
  void registerDefault(std::string_view key, PropertyList value);
  [[nodiscard]] Connection observe(std::string_view key, std::function<void()> changed);
  // Reads the file again, as another process may have written it.
  void synchronize();

 private:
  explicit Preferences(std::string domain);
  struct State;
  State* state_;  // lives as long as the process
};

}  // namespace vello
