#include "platform/picture_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/file_bytes.h"

namespace vello {

namespace {

std::string megabytes(int64_t bytes) { return std::to_string((bytes + 999'999) / 1'000'000) + " MB"; }

int64_t freeBytes(const std::string& folder) {
  struct statvfs room {};
  if (statvfs(folder.c_str(), &room) != 0) return 0;
  return static_cast<int64_t>(room.f_bavail) * static_cast<int64_t>(room.f_frsize);
}

std::string noRoom(int64_t bytes, const std::string& folder, int errorNumber) {
  return "needs " + megabytes(bytes) + " of temporary space in " + systemError(folder, errorNumber) + ", " +
         std::to_string(freeBytes(folder) / 1'000'000) + " MB are free; TMPDIR names another folder";
}

// A file that vanishes with its descriptor; -1 and errno.
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

std::shared_ptr<PictureMemory> PictureMemory::inMemory(int64_t bytes, std::string* error) {
  void* memory = mmap(nullptr, static_cast<size_t>(bytes), PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return *error = "not enough memory for " + megabytes(bytes), nullptr;
  return std::shared_ptr<PictureMemory>(new PictureMemory(static_cast<uint8_t*>(memory), bytes));
}

std::shared_ptr<PictureMemory> PictureMemory::inTemporaryFile(int64_t bytes, const std::string& folder,
                                                              std::string* error) {
  const int descriptor = openNameless(folder);
  if (descriptor < 0) return *error = noRoom(bytes, folder, errno), nullptr;
  // A hole that no room is left for would end the process when it is written to. A file system may fill
  // itself up before it says that the room is not enough: so it is asked first.
  const int problem = bytes > freeBytes(folder) ? ENOSPC : posix_fallocate(descriptor, 0, bytes);
  void* memory = MAP_FAILED;
  if (problem == 0) {
    memory = mmap(nullptr, static_cast<size_t>(bytes), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  close(descriptor);
  if (problem != 0) return *error = noRoom(bytes, folder, problem), nullptr;
  if (memory == MAP_FAILED) return *error = "not enough memory for " + megabytes(bytes), nullptr;
  return std::shared_ptr<PictureMemory>(new PictureMemory(static_cast<uint8_t*>(memory), bytes));
}

PictureMemory::~PictureMemory() { munmap(bytes_, static_cast<size_t>(size_)); }

void PictureMemory::release(int64_t end) {
  const int64_t page = sysconf(_SC_PAGESIZE);
  const int64_t whole = end >= size_ ? size_ : std::max<int64_t>(end, 0) / page * page;
  if (whole > 0) madvise(bytes_, static_cast<size_t>(whole), MADV_DONTNEED);
}

}  // namespace vello
