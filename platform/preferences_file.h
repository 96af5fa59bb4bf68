// The file of one preferences domain, shared with other processes through a lock file beside it. What goes
// wrong is logged once per file. Not safe from several threads: its owner sees to that.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/property_list.h"

namespace vello {

// "<domain>.plist" in $XDG_CONFIG_HOME/vello, else in .config/vello of the user's home; empty when there is
// no home or the domain's name is no plain file name.
std::string preferencesPath(std::string_view domain);

class PreferencesFile {
 public:
  // With an empty path nothing is read or written.
  explicit PreferencesFile(std::string path) : path_(std::move(path)) {}

  // What the file holds: nothing in it when there is none, or when it is damaged and was moved aside. No
  // value when it cannot be read.
  std::optional<PropertyListDictionary> read();
  // Reads, lets `change` work on what was read, and writes it unless it stayed equal, all under the lock.
  // Nothing when that failed; else what the file holds now.
  std::optional<PropertyListDictionary> update(const std::function<void(PropertyListDictionary&)>& change);

 private:
  struct Reading {
    std::optional<PropertyListDictionary> dictionary;
    std::string error;  // why there is none
    bool damaged = false;
  };
  Reading readOnce() const;
  std::optional<PropertyListDictionary> readLocked();
  bool moveAside(const std::string& why);
  void report(const std::string& problem);

  std::string path_;
  bool reported_ = false;
};

}  // namespace vello
