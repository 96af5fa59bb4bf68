#include "platform/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <system_error>

#include "platform/image_file.h"

namespace vello {

size_t MemorySource::read(int64_t offset, void* to, size_t count) const {
  if (count == 0 || offset < 0 || offset >= size()) return 0;
  const size_t available = std::min(count, bytes_.size() - static_cast<size_t>(offset));
  std::memcpy(to, bytes_.data() + offset, available);
  return available;
}

std::string systemError(const std::string& path, int errorNumber) {
  return path + ": " + std::generic_category().message(errorNumber);
}

namespace {

class FileSource final : public ByteSource {
 public:
  FileSource(int descriptor, int64_t size) : descriptor_(descriptor), size_(size) {}
  ~FileSource() override { close(descriptor_); }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;
  int64_t size() const override { return size_; }
  size_t read(int64_t offset, void* to, size_t count) const override {
    size_t done = 0;
    while (done < count) {
      const ssize_t got =
          pread(descriptor_, static_cast<char*>(to) + done, count - done, offset + static_cast<off_t>(done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<size_t>(got);
    }
    return done;
  }

 private:
  int descriptor_;
  int64_t size_;
};

std::string whyNotRegular(const std::string& path, const struct stat& status) {
  return path + (S_ISDIR(status.st_mode) ? ": is a folder" : ": is not a regular file");
}

}  // namespace

std::unique_ptr<ByteSource> openFile(const std::string& path, std::string* error) {
  struct stat status {};
  // Looked at before it is opened: opening alone can do harm to a device.
  if (stat(path.c_str(), &status) != 0) return *error = systemError(path, errno), nullptr;
  if (!S_ISREG(status.st_mode)) return *error = whyNotRegular(path, status), nullptr;
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return *error = systemError(path, errno), nullptr;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return *error = whyNotRegular(path, status), nullptr;
  }
  return std::make_unique<FileSource>(descriptor, status.st_size);
}

std::optional<std::vector<uint8_t>> readFile(const std::string& path, size_t limit, std::string* error) {
  const std::unique_ptr<ByteSource> source = openFile(path, error);
  if (!source) return std::nullopt;
  const auto size = static_cast<size_t>(source->size());
  if (size > limit) {
    *error = path + ": is longer than " + std::to_string(limit) + " bytes";
    return std::nullopt;
  }
  std::vector<uint8_t> bytes(size);
  if (source->read(0, bytes.data(), size) != size) {
    *error = path + ": could not be read to its end";
    return std::nullopt;
  }
  return bytes;
}

std::unique_ptr<ByteSource> openDescriptor(int descriptor) {
  struct stat status {};
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return nullptr;
  if (fstat(copy, &status) != 0) return close(copy), nullptr;
  return std::make_unique<FileSource>(copy, status.st_size);
}

namespace {

// A link's own place stays: what it points to is replaced.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  return real ? real.get() : path;
}

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

std::string randomSuffix() {
  static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::string suffix;
  for (int i = 0; i < 10; ++i) suffix += kLetters[random() % (sizeof kLetters - 1)];
  return suffix;
}

void syncFolder(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : target_(resolved(path)) {
  struct stat status {};
  const bool exists = stat(target_.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    error_ = whyNotRegular(path, status);
    return;
  }
  // The name is short whatever the target's is, which may already be as long as names can be.
  const std::string folder = folderOf(target_);
  const std::string base = (folder == "." ? "" : folder) + ".vello-";
  for (int attempt = 0; attempt < 16 && descriptor_ < 0; ++attempt) {
    temporary_ = base + randomSuffix();
    descriptor_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0 && errno != EEXIST) break;
  }
  if (descriptor_ < 0) {
    error_ = systemError(path, errno);
  } else if (exists) {
    fchmod(descriptor_, status.st_mode & 07777);
  }
}

AtomicFile::~AtomicFile() {
  if (descriptor_ < 0) return;
  close(descriptor_);
  unlink(temporary_.c_str());
}

std::string AtomicFile::commit() {
  if (fsync(descriptor_) != 0) return systemError(target_, errno);
  if (rename(temporary_.c_str(), target_.c_str()) != 0) return systemError(target_, errno);
  close(descriptor_);
  descriptor_ = -1;
  syncFolder(folderOf(target_));
  return {};
}

std::optional<std::string> writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes) {
  AtomicFile file(path);
  if (!file.error().empty()) return file.error();
  while (!bytes.empty()) {
    const ssize_t written = write(file.descriptor(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return systemError(path, errno);
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  const std::string error = file.commit();
  return error.empty() ? std::nullopt : std::optional(error);
}

}  // namespace vello
