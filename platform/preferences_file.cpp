#include "platform/preferences_file.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "platform/ascii.h"
#include "platform/file_bytes.h"
#include "platform/image_file.h"
#include "platform/log.h"

namespace vello {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::string_view kProblem = "*** Vello : preferences %@";
constexpr std::string_view kMovedAside = "*** Vello : damaged preferences %@; the file is kept as %@";
constexpr std::chrono::milliseconds kLongestLockWait = 2s, kLockPause = 5ms;

std::string homeFolder() {
  const char* home = std::getenv("HOME");
  if (home && *home == '/') return home;
  std::vector<char> buffer(16384);
  passwd entry{}, *found = nullptr;
  getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  return found && found->pw_dir && *found->pw_dir == '/' ? found->pw_dir : "";
}

// Relative paths in XDG_CONFIG_HOME do not count (XDG Base Directory rules).
std::string configurationFolder() {
  const char* folder = std::getenv("XDG_CONFIG_HOME");
  if (folder && *folder == '/') return folder;
  const std::string home = homeFolder();
  return home.empty() ? "" : home + "/.config";
}

bool isPlainName(std::string_view name) {
  return !name.empty() && name.front() != '.' && std::all_of(name.begin(), name.end(), [](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '_' || c == '.';
  });
}

// Makes the folder and those above it, open to the user alone.
void makeFolders(const fs::path& folder) {
  if (folder.has_relative_path()) makeFolders(folder.parent_path());
  mkdir(folder.c_str(), 0700);
}

std::string timestamp() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
  return text;
}

// Held while it lives. A process that was stopped may hold it for ever, so the wait has an end.
class FileLock {
 public:
  explicit FileLock(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (descriptor_ < 0) {
      error_ = systemError(path, errno);
      return;
    }
    const auto end = std::chrono::steady_clock::now() + kLongestLockWait;
    while (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
      const bool busy = errno == EWOULDBLOCK || errno == EINTR;
      if (busy && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kLockPause);
        continue;
      }
      error_ = systemError(path, errno);
      return;
    }
  }
  ~FileLock() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  const std::string& error() const { return error_; }

 private:
  int descriptor_;
  std::string error_;
};

std::string lockPath(const std::string& path) { return fs::path(path).replace_extension("lock"); }

}  // namespace

std::string preferencesPath(std::string_view domain) {
  const std::string folder = configurationFolder();
  if (folder.empty() || !isPlainName(domain)) return {};
  return folder + "/vello/" + std::string(domain) + ".plist";
}

void PreferencesFile::report(const std::string& problem) {
  if (!std::exchange(reported_, true)) logLine(kProblem, {problem});
}

PreferencesFile::Reading PreferencesFile::readOnce() const {
  std::error_code none;
  if (!fs::exists(path_, none) && !none) return {PropertyListDictionary(), {}, false};
  std::string error;
  const PropertyListLimits limits;
  const auto bytes = readFile(path_, limits.bytes, &error);
  if (!bytes) return {std::nullopt, error, false};
  const PropertyListResult list = readPropertyList(*bytes, limits);
  if (!list.ok()) return {std::nullopt, path_ + ": " + list.error, true};
  if (!list.value.dictionary()) return {std::nullopt, path_ + ": is no dictionary", true};
  return {*list.value.dictionary(), {}, false};
}

bool PreferencesFile::moveAside(const std::string& why) {
  const std::string base = path_ + ".damaged-" + timestamp();
  std::string aside = base;
  // The lock is held, so no other process takes the name meanwhile.
  for (int i = 2; access(aside.c_str(), F_OK) == 0; ++i) aside = base + "-" + std::to_string(i);
  if (rename(path_.c_str(), aside.c_str()) != 0) {
    report(systemError(path_, errno));
    return false;
  }
  logLine(kMovedAside, {why, aside});
  return true;
}

std::optional<PropertyListDictionary> PreferencesFile::readLocked() {
  Reading reading = readOnce();
  if (reading.damaged && moveAside(reading.error)) return PropertyListDictionary();
  if (!reading.dictionary) report(reading.error);
  return std::move(reading.dictionary);
}

std::optional<PropertyListDictionary> PreferencesFile::read() {
  if (path_.empty()) return std::nullopt;
  Reading reading = readOnce();
  if (reading.dictionary) return std::move(reading.dictionary);
  if (!reading.damaged) return report(reading.error), std::nullopt;
  const FileLock lock(lockPath(path_));
  if (!lock.error().empty()) return report(reading.error + " (" + lock.error() + ")"), std::nullopt;
  return readLocked();
}

std::optional<PropertyListDictionary> PreferencesFile::update(
    const std::function<void(PropertyListDictionary&)>& change) {
  if (path_.empty()) return report("are kept in memory: there is no folder for them"), std::nullopt;
  makeFolders(fs::path(path_).parent_path());
  const FileLock lock(lockPath(path_));
  if (!lock.error().empty()) return report(lock.error()), std::nullopt;
  const std::optional<PropertyListDictionary> former = readLocked();
  if (!former) return std::nullopt;
  PropertyListDictionary dictionary = *former;
  change(dictionary);
  if (dictionary == *former) return dictionary;
  const std::string text = writePropertyListXML(dictionary).text;
  if (text.size() > PropertyListLimits().bytes) return report(path_ + ": would be too long"), std::nullopt;
  const auto error = writeFileAtomically(path_, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  if (error) return report(*error), std::nullopt;
  reported_ = false;
  return dictionary;
}

}  // namespace vello
