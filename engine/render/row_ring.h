// The latest rows of a step's samples. Rows come from the top down and go when nobody wants them any more.
#pragma once

#include <cstring>

#include "engine/filters/kernel_ops.h"
#include "engine/render/sample_block.h"

namespace vello {

class RowRing {
 public:
  // Planes are an odd number of 16 samples long: the same place in many rows does not fall on the same few
  // lines of a cache.
  explicit RowRing(int64_t width = 0) : stride_(((width + 15) / 16 | 1) * 16) {}

  // Room for `row`, which lies directly below the one added last. Rows above `wanted` may be forgotten.
  Run add(int64_t row, int64_t wanted) {
    if (rows_ == 0) top_ = row;
    while (rows_ > 0 && top_ > wanted) --top_, --rows_;
    if (rows_ == 0) top_ = row;
    if (rows_ == capacity_) grow();
    ++rows_;
    return at(row);
  }
  bool holds(int64_t row) const { return row <= top_ && row > top_ - rows_; }
  Run at(int64_t row) const {
    float* p = samples_.get() + slot(row) * 4 * stride_;
    return {p, p + stride_, p + 2 * stride_, p + 3 * stride_};
  }
  // From a channel of a row to the next.
  int64_t planeStride() const { return stride_; }
  double bytes() const { return static_cast<double>(samples_.size() * sizeof(float)); }

 private:
  int64_t slot(int64_t row) const { return row & (capacity_ - 1); }  // a power of two

  void grow() {
    RowRing larger;
    larger.stride_ = stride_;
    larger.capacity_ = capacity_ == 0 ? 1 : capacity_ * 2;
    larger.samples_ = SampleBlock(static_cast<size_t>(larger.capacity_ * 4 * stride_));
    std::memset(larger.samples_.get(), 0, larger.samples_.size() * sizeof(float));
    for (int64_t row = top_; row > top_ - rows_; --row)
      std::memcpy(larger.at(row).r, at(row).r, static_cast<size_t>(4 * stride_) * sizeof(float));
    samples_ = std::move(larger.samples_);
    capacity_ = larger.capacity_;
  }

  int64_t stride_ = 0, capacity_ = 0, top_ = 0, rows_ = 0;
  SampleBlock samples_;
};

}  // namespace vello
