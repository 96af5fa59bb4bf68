#include "platform/picture_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "platform/temporary_file.h"

namespace vello {

namespace {

// Of memory that the system can map as one: a tenth of reading a picture went into mapping small pages.
constexpr int64_t kLargePage = int64_t{2} << 20;

std::string megabytes(int64_t bytes) { return std::to_string((bytes + 999'999) / 1'000'000) + " MB"; }

}  // namespace

std::shared_ptr<PictureMemory> PictureMemory::inMemory(int64_t bytes, std::string* error) {
  // Only whole pages of the system's can be moved as one, so the picture begins where one does.
  const size_t reserved = static_cast<size_t>(bytes + kLargePage);
  void* const memory =
      mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return *error = "not enough memory for " + megabytes(bytes), nullptr;
  madvise(memory, reserved, MADV_HUGEPAGE);
  auto* const begin = static_cast<uint8_t*>(memory);
  const auto unaligned = static_cast<int64_t>(reinterpret_cast<uintptr_t>(begin) % kLargePage);
  return std::shared_ptr<PictureMemory>(
      new PictureMemory({begin, reserved}, begin + (kLargePage - unaligned) % kLargePage, bytes, false));
}

std::shared_ptr<PictureMemory> PictureMemory::inTemporaryFile(int64_t bytes, const std::string& folder,
                                                              std::string* error) {
  const int descriptor = openTemporaryFile(bytes, folder, error);
  if (descriptor < 0) return nullptr;
  void* memory = mmap(nullptr, static_cast<size_t>(bytes), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (memory == MAP_FAILED) return *error = "not enough memory for " + megabytes(bytes), nullptr;
  return std::shared_ptr<PictureMemory>(
      new PictureMemory({memory, static_cast<size_t>(bytes)}, static_cast<uint8_t*>(memory), bytes, true));
}

PictureMemory::~PictureMemory() { munmap(mapping_.begin, mapping_.size); }

// The system clears every page it hands out, which takes longer than to write a picture's rows into it.
void PictureMemory::moveTo(int64_t fresh, int64_t end) {
  filled_ = std::max(filled_, (fresh + kLargePage - 1) / kLargePage * kLargePage);
  while (released_ < end && filled_ + kLargePage <= size_) {
    void* const moved = mremap(bytes_ + released_, kLargePage, kLargePage,
                               MREMAP_MAYMOVE | MREMAP_FIXED | MREMAP_DONTUNMAP, bytes_ + filled_);
    if (moved == MAP_FAILED) return;
    released_ += kLargePage;
    filled_ += kLargePage;
  }
}

void PictureMemory::release(int64_t end, int64_t fresh) {
  const int64_t whole = end >= size_ ? size_ : std::max<int64_t>(end, 0) / kLargePage * kLargePage;
  if (!inFile_) moveTo(fresh, whole);
  if (whole > released_) madvise(bytes_ + released_, static_cast<size_t>(whole - released_), MADV_DONTNEED);
  if (!inFile_) released_ = std::max(released_, whole);
}

}  // namespace vello
