// One bitmap's texels, y upwards, at full size or averaged over squares of 2^level of them.
#pragma once

#include <cstdint>

#include "engine/filters/kernel_ops.h"
#include "engine/render/row_loops.h"
#include "engine/render/texel_pyramid.h"
#include "platform/pixel_conversion.h"

namespace vello {

// Safe to share between threads.
class TexelSource {
 public:
  // Means are taken from `pyramid`, which may be null, where it has them.
  TexelSource(const Bitmap& bitmap, const ColorSpacePtr& working, InstructionSet set,
              std::shared_ptr<TexelPyramid> pyramid = nullptr);

  int64_t width(int level) const { return levelSize(reader_.bitmap().width(), level); }
  double bytesPerRow() const { return static_cast<double>(reader_.bitmap().layout().bytesPerRow); }
  int64_t height(int level) const { return levelSize(reader_.bitmap().height(), level); }
  // Full-size texels [i, i + n) of row j (0 is the lowest) as premultiplied linear colour.
  void readLinear(int64_t j, int64_t i, int n, const Run& out) const;
  // As interpolation takes them: full-size texels as premultiplied encoded colour; of a higher level the
  // means of those that exist, premultiplied and linear.
  void readLevel(int level, int64_t j, int64_t i, int n, const Run& out) const;
  // The space of what is encoded.
  const ColorSpacePtr& space() const { return reader_.encodedSpace(); }
  // In place: premultiplied encoded to premultiplied linear.
  void linearize(int n, const Run& run) const { reader_.linearize(n, {run.r, run.g, run.b, run.a}); }

 private:
  static int64_t levelSize(int64_t size, int level) { return (size + (int64_t{1} << level) - 1) >> level; }
  void average(int level, int64_t j, int64_t i, int n, const Run& out) const;

  PixelReader reader_;
  const RowLoops& loops_;
  std::shared_ptr<TexelPyramid> pyramid_;
  std::vector<std::unique_ptr<PixelReader>> levels_;  // of the pyramid
};

}  // namespace vello
