#include "engine/render/window_fold.h"

#include <cstring>

#include "engine/render/buffer.h"

namespace vello {

void foldAlong(FoldLoop fold, const float* in, int64_t length, float* scratch, float* out, int64_t n) {
  const float* level = in;  // windows of `size` samples
  int64_t count = n + length - 1, done = 0;
  for (int64_t size = 1;; size *= 2) {
    if (length & size) {
      if (done == 0) std::memcpy(out, level, static_cast<size_t>(n) * sizeof(float));
      if (done > 0) fold(out, level + done, out, n);
      done += size;
    }
    if (done == length) return;
    count -= size;
    fold(level, level + size, scratch, count);
    level = scratch;
  }
}

void foldRuns(FoldLoop fold, const Run& a, const Run& b, const Run& out, int64_t n) {
  fold(a.r, b.r, out.r, n);
  fold(a.g, b.g, out.g, n);
  fold(a.b, b.b, out.b, n);
  fold(a.a, b.a, out.a, n);
}

RowsFold::RowsFold(FoldLoop fold, int64_t length, int64_t width)
    : fold_(fold), length_(length), width_(width) {
  for (int64_t size = 1; size <= length; size *= 2) levels_.emplace_back(width);
}

void RowsFold::added(int64_t row) {
  int64_t size = 1;
  for (size_t k = 0; k + 1 < levels_.size() && levels_[k].holds(row + size); ++k, size *= 2)
    foldRuns(fold_, levels_[k].at(row), levels_[k].at(row + size), levels_[k + 1].add(row, row + 2 * size),
             width_);
}

double RowsFold::bytes() const {
  double all = 0;
  for (const RowRing& level : levels_) all += level.bytes();
  return all;
}

void RowsFold::make(int64_t row, const Run& out) const {
  int64_t done = 0;
  for (size_t k = 0; k < levels_.size(); ++k) {
    const int64_t size = int64_t{1} << k;
    if (!(length_ & size)) continue;
    const Run part = levels_[k].at(row + done);
    if (done == 0) copyRun(part, out, width_);
    if (done > 0) foldRuns(fold_, out, part, out, width_);
    done += size;
  }
}

}  // namespace vello
