#include "platform/spilled_memory.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/file_bytes.h"
#include "platform/temporary_file.h"

namespace vello {
namespace {

// Calls `step(offset, bytes, count)` until all is done; it returns what a system call does.
template <class Byte, class Step>
std::string transfer(int64_t offset, Byte* bytes, int64_t count, Step step) {
  while (count > 0) {
    const auto done = step(offset, bytes, static_cast<size_t>(count));
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return systemError("a temporary file", done < 0 ? errno : EIO);
    offset += done, bytes += done, count -= done;
  }
  return {};
}

}  // namespace

std::unique_ptr<SpilledMemory> SpilledMemory::create(int64_t bytes, int64_t inMemory, std::string* error) {
  const int64_t kept = std::clamp<int64_t>(inMemory, 0, bytes);
  std::shared_ptr<PictureMemory> memory;
  if (kept > 0) memory = PictureMemory::inMemory(kept, error);
  if (kept > 0 && !memory) return nullptr;
  const int descriptor = kept == bytes ? -1 : openTemporaryFile(bytes - kept, {}, error);
  if (kept < bytes && descriptor < 0) return nullptr;
  return std::unique_ptr<SpilledMemory>(new SpilledMemory(std::move(memory), kept, descriptor));
}

SpilledMemory::~SpilledMemory() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::string SpilledMemory::write(int64_t offset, const void* from, int64_t count) {
  const auto* bytes = static_cast<const uint8_t*>(from);
  const int64_t here = std::clamp<int64_t>(bytesInMemory_ - offset, 0, count);
  if (here > 0) std::memcpy(memory_->bytes() + offset, bytes, static_cast<size_t>(here));
  return transfer(offset + here - bytesInMemory_, bytes + here, count - here,
                  [this](int64_t at, const uint8_t* p, size_t n) { return pwrite(descriptor_, p, n, at); });
}

std::string SpilledMemory::read(int64_t offset, void* to, int64_t count) const {
  auto* bytes = static_cast<uint8_t*>(to);
  const int64_t here = std::clamp<int64_t>(bytesInMemory_ - offset, 0, count);
  if (here > 0) std::memcpy(bytes, memory_->bytes() + offset, static_cast<size_t>(here));
  return transfer(offset + here - bytesInMemory_, bytes + here, count - here,
                  [this](int64_t at, uint8_t* p, size_t n) { return pread(descriptor_, p, n, at); });
}

const uint8_t* SpilledMemory::inMemory(int64_t offset, int64_t count) const {
  return offset + count <= bytesInMemory_ ? memory_->bytes() + offset : nullptr;
}

}  // namespace vello
