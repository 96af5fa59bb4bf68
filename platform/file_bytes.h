// Bytes of files: read without blocking, written so that a reader sees the old file or the whole new one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vello {

// Random access to bytes; safe to share between threads.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual int64_t size() const = 0;
  // Fewer than `count` only at the end or when the file cannot be read.
  virtual size_t read(int64_t offset, void* to, size_t count) const = 0;
};

class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  int64_t size() const override { return static_cast<int64_t>(bytes_.size()); }
  size_t read(int64_t offset, void* to, size_t count) const override;

 private:
  std::span<const uint8_t> bytes_;
};

// Null unless `path` is a readable regular file; `error` then names it and the reason.
std::unique_ptr<ByteSource> openFile(const std::string& path, std::string* error);

// All bytes of a regular file. Nothing when it cannot be read or is longer than `limit`; `error` then says
// why.
std::optional<std::vector<uint8_t>> readFile(const std::string& path, size_t limit, std::string* error);

// Over a copy of the descriptor of a regular file; null if that fails.
std::unique_ptr<ByteSource> openDescriptor(int descriptor);

// "path: reason", the reason from errno.
std::string systemError(const std::string& path, int errorNumber);

// A file beside the target that takes its place on commit() and vanishes without it.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& path);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Empty unless it could not be made.
  const std::string& error() const { return error_; }
  int descriptor() const { return descriptor_; }
  // Syncs and renames. Returns the error, or an empty text.
  std::string commit();

 private:
  std::string target_, temporary_, error_;
  int descriptor_ = -1;
};

}  // namespace vello
