#include "engine/render/sample_block.h"

#include <new>

namespace vello {
namespace {

constexpr size_t kMostKept = size_t{2} << 20;  // floats of a thread
constexpr size_t kMostBlocks = 64;
constexpr size_t kSmallest = 4096;  // below, the system's allocator is as fast

thread_local SampleArena* current = nullptr;

}  // namespace

SampleArena::SampleArena() {
  free_.reserve(kMostBlocks);
  if (!current) current = this;
}

SampleArena::~SampleArena() {
  for (const Free& block : free_) std::free(block.data);
  if (current == this) current = nullptr;
}

// One that is at most twice as large as wanted.
SampleArena::Free SampleArena::take(size_t count) {
  for (size_t k = free_.size(); k-- > 0;) {
    const Free found = free_[k];
    if (found.count < count || found.count > 2 * count) continue;
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
    std::free(free_.front().data);
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
  constexpr size_t line = 64;  // of a cache: what no vector crosses is read at once
  const size_t bytes = (count * sizeof(float) + line - 1) / line * line;
  data_ = static_cast<float*>(std::aligned_alloc(line, bytes));
  if (!data_) throw std::bad_alloc();
  capacity_ = count;
}

SampleBlock::~SampleBlock() {
  if (!data_ || (current && current->keep({data_, capacity_}))) return;
  std::free(data_);
}

}  // namespace vello
