// A rectangle of planar float samples on some lattice. What lies outside is transparent.
#pragma once

#include <cstring>
#include <memory>

#include "engine/filters/kernel_ops.h"
#include "engine/render/lattice.h"
#include "engine/render/sample_block.h"

namespace vello {

class Buffer {
 public:
  Buffer() = default;
  // Uninitialised samples. `rect` must fit memory; the caller has checked its area.
  explicit Buffer(const IndexRect& rect) : rect_(rect), plane_(rect.width() * rect.height()) {
    if (plane_ > 0) data_ = std::make_unique_for_overwrite<float[]>(static_cast<size_t>(plane_) * 4);
  }
  const IndexRect& rect() const { return rect_; }
  bool empty() const { return plane_ == 0; }
  // Requires (i, j) inside, or one sample beyond the end of its row.
  Run at(int64_t i, int64_t j) const {
    float* p = data_.get() + (j - rect_.y0) * rect_.width() + (i - rect_.x0);
    return {p, p + plane_, p + 2 * plane_, p + 3 * plane_};
  }
  Px get(int64_t i, int64_t j) const { return rect_.holds(i, j) ? at(i, j).get(0) : Px{0, 0, 0, 0}; }
  void clear() {
    if (plane_ > 0) std::memset(data_.get(), 0, static_cast<size_t>(plane_) * 4 * sizeof(float));
  }
  static double bytesFor(const IndexRect& rect) { return rect.area() * 4 * sizeof(float); }

 private:
  IndexRect rect_;
  int64_t plane_ = 0;
  std::unique_ptr<float[]> data_;
};

// A run of samples that owns its memory.
class Scratch {
 public:
  explicit Scratch(int64_t n) : n_(n), data_(static_cast<size_t>(n) * 4) {}
  Run run() const { return {data_.get(), data_.get() + n_, data_.get() + 2 * n_, data_.get() + 3 * n_}; }

 private:
  int64_t n_;
  SampleBlock data_;
};

inline Run advanced(const Run& r, int64_t by) { return {r.r + by, r.g + by, r.b + by, r.a + by}; }
inline void clearRun(const Run& r, int64_t n) {
  if (n == 0) return;
  for (float* p : {r.r, r.g, r.b, r.a}) std::memset(p, 0, static_cast<size_t>(n) * sizeof(float));
}
inline void copyRun(const Run& from, const Run& to, int64_t n) {
  std::memcpy(to.r, from.r, static_cast<size_t>(n) * sizeof(float));
  std::memcpy(to.g, from.g, static_cast<size_t>(n) * sizeof(float));
  std::memcpy(to.b, from.b, static_cast<size_t>(n) * sizeof(float));
  std::memcpy(to.a, from.a, static_cast<size_t>(n) * sizeof(float));
}

}  // namespace vello
