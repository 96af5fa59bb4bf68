#include "platform/temporary_file.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/file_bytes.h"

namespace vello {

namespace {

int64_t freeBytes(const std::string& folder) {
  struct statvfs room {};
  if (statvfs(folder.c_str(), &room) != 0) return 0;
  return static_cast<int64_t>(room.f_bavail) * static_cast<int64_t>(room.f_frsize);
}

std::string noRoom(int64_t bytes, const std::string& folder, int errorNumber) {
  return "needs " + std::to_string((bytes + 999'999) / 1'000'000) + " MB of temporary space in " +
         systemError(folder, errorNumber) + ", " + std::to_string(freeBytes(folder) / 1'000'000) +
         " MB are free; TMPDIR names another folder";
}

int openNameless(const std::string& folder) {
  std::string name = folder + "/vello-XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor >= 0) unlink(name.c_str());
  return descriptor;
}

}  // namespace

std::string temporaryFolder() {
  const char* folder = std::getenv("TMPDIR");
  return folder && *folder ? folder : "/tmp";
}

int openTemporaryFile(int64_t bytes, const std::string& folder, std::string* error) {
  const std::string where = folder.empty() ? temporaryFolder() : folder;
  const int descriptor = openNameless(where);
  if (descriptor < 0) return *error = noRoom(bytes, where, errno), -1;
  // A hole that no room is left for would end a process that has mapped it. A file system may fill itself up
  // before it says that the room is not enough: so it is asked first.
  const int problem = bytes > freeBytes(where) ? ENOSPC : posix_fallocate(descriptor, 0, bytes);
  if (problem == 0) return descriptor;
  close(descriptor);
  return *error = noRoom(bytes, where, problem), -1;
}

}  // namespace vello
