#include "engine/render/sample_block.h"

#include <bit>
#include <cstdint>
#include <new>

namespace vello {
namespace {

constexpr size_t kMostKept = size_t{4} << 20;  // floats of a thread
constexpr size_t kLarge = size_t{1} << 16;
constexpr size_t kMostBlocks = 64;
constexpr size_t kSmallest = 4096;  // below, the system's allocator is as fast

thread_local SampleArena* current = nullptr;

// Begins where a line of the cache does: what vectors read in one is read at once. Where the memory itself
// begins is said in front of it; the allocator's own alignment leaves holes that add up.
float* allocated(size_t count) {
  constexpr size_t line = 64;
  void* const memory = std::malloc(count * sizeof(float) + line + sizeof(void*));
  if (!memory) return nullptr;
  const auto first = reinterpret_cast<uintptr_t>(memory) + sizeof(void*) + line - 1;
  auto* const data = reinterpret_cast<void**>(first / line * line);  // NOLINT(performance-no-int-to-ptr)
  data[-1] = memory;
  return reinterpret_cast<float*>(data);
}

void release(float* data) {
  if (data) std::free(reinterpret_cast<void**>(data)[-1]);
}

}  // namespace

SampleArena::SampleArena() {
  free_.reserve(kMostBlocks);
  if (!current) current = this;
}

SampleArena::~SampleArena() {
  for (const Free& block : free_) release(block.data);
  if (current == this) current = nullptr;
}

// One that is at most four times as large as wanted. What is not written takes no memory.
SampleArena::Free SampleArena::take(size_t count) {
  for (size_t k = free_.size(); k-- > 0;) {
    const Free found = free_[k];
    if (found.count < count || found.count > 4 * count) continue;
    free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(k));
    kept_ -= found.count;
    return found;
  }
  return {nullptr, 0};
}

// What has lain about longest goes first.
bool SampleArena::keep(const Free& block) {
  if (block.count < kSmallest || block.count > kMostKept) return false;
  while (kept_ + block.count > kMostKept || free_.size() == kMostBlocks) {
    release(free_.front().data);
    kept_ -= free_.front().count;
    free_.erase(free_.begin());
  }
  free_.push_back(block);
  kept_ += block.count;
  return true;
}

SampleBlock::SampleBlock(size_t count) : count_(count) {
  if (current && count >= kSmallest) {
    const SampleArena::Free found = current->take(count);
    data_ = found.data, capacity_ = found.count;
  }
  if (data_ || count == 0) return;
  // So that tiles use what others of about their size gave back.
  if (count >= kLarge) count = std::bit_ceil(count);
  data_ = allocated(count);
  if (!data_) throw std::bad_alloc();
  capacity_ = count;
}

SampleBlock::~SampleBlock() {
  if (!data_ || (current && current->keep({data_, capacity_}))) return;
  release(data_);
}

}  // namespace vello
