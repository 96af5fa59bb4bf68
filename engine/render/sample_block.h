// Memory for samples, taken from what the thread's earlier tiles gave back: the system clears every page it
// hands out, and takes long over large ones.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

namespace vello {

// Uninitialised floats.
class SampleBlock {
 public:
  SampleBlock() = default;
  explicit SampleBlock(size_t count);
  SampleBlock(SampleBlock&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), count_(other.count_), capacity_(other.capacity_) {}
  SampleBlock& operator=(SampleBlock&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
    return *this;
  }
  ~SampleBlock();

  float* get() const { return data_; }
  size_t size() const { return count_; }

 private:
  float* data_ = nullptr;
  size_t count_ = 0, capacity_ = 0;
};

// While one lives, blocks of its thread are kept for the next ones; the innermost of several does nothing.
class SampleArena {
 public:
  SampleArena();
  ~SampleArena();
  SampleArena(const SampleArena&) = delete;
  SampleArena& operator=(const SampleArena&) = delete;

 private:
  friend class SampleBlock;
  struct Free {
    float* data;
    size_t count;
  };
  // Null where none fits.
  Free take(size_t count);
  bool keep(const Free& block);

  std::vector<Free> free_;  // the latest last
  size_t kept_ = 0;         // floats
};

}  // namespace vello
