// A bitmap's texels averaged over squares of 4, 8, 16, ... a side, for whoever shows it small again and
// again. Means are taken in linear light and kept as the bitmap's own texels are: encoded, as many bits. They
// are computed where they are first read.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/render/buffer.h"
#include "platform/pixel_conversion.h"

namespace vello {

// Safe to share between threads.
class TexelPyramid {
 public:
  static constexpr int kLowestLevel = 2;  // of squares 2^2 a side: those of two are read from the bitmap

  explicit TexelPyramid(const Bitmap& source);
  ~TexelPyramid();
  TexelPyramid(const TexelPyramid&) = delete;
  TexelPyramid& operator=(const TexelPyramid&) = delete;

  const Bitmap& source() const { return source_.bitmap(); }
  // What all of it takes when it is full.
  int64_t bytes() const { return bytes_; }
  // Requires kLowestLevel <= level < levels().
  const Bitmap& level(int level) const;
  int levels() const { return kLowestLevel + static_cast<int>(levels_.size()); }
  // Sees to it that texels [i, i + n) of row j (0 is the lowest) of a level's bitmap are there.
  void need(int level, int64_t j, int64_t i, int64_t n);

 private:
  struct Level;

  static size_t index(int level) { return static_cast<size_t>(level - kLowestLevel); }
  void compute(int level, const IndexRect& block);
  float addRows(int level, int64_t begin, int64_t end, int64_t first, int64_t n, const Run& sums,
                const Run& line);
  void readBelow(int level, int64_t j, int64_t i, int n, const Run& out);

  const PixelReader source_;
  std::vector<std::unique_ptr<Level>> levels_;
  int64_t bytes_ = 0;
};

// Adds neighbours in pairs; the last one stays alone where their number is odd.
void addPairs(const float* v, float* sums, int64_t n);

}  // namespace vello
