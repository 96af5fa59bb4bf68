#include "engine/render/texel_source.h"

#include <algorithm>
#include <utility>

#include "engine/render/buffer.h"

namespace vello {

TexelSource::TexelSource(const Bitmap& bitmap, const ColorSpacePtr& working, InstructionSet set,
                         std::shared_ptr<TexelPyramid> pyramid)
    : reader_(bitmap, working, set), loops_(rowLoops(set)), pyramid_(std::move(pyramid)) {
  for (int level = TexelPyramid::kLowestLevel; pyramid_ && level < pyramid_->levels(); ++level)
    levels_.push_back(std::make_unique<PixelReader>(pyramid_->level(level), working, set));
}

void TexelSource::readLinear(int64_t j, int64_t i, int n, const Run& out) const {
  reader_.readLinear(reader_.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
}

void TexelSource::readLevel(int level, int64_t j, int64_t i, int n, const Run& out) const {
  const auto kept = static_cast<size_t>(level - TexelPyramid::kLowestLevel);
  if (level >= TexelPyramid::kLowestLevel && kept < levels_.size()) {
    pyramid_->need(level, j, i, n);
    const PixelReader& reader = *levels_[kept];
    return reader.readLinear(reader.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
  }
  if (level > 0) return average(level, j, i, n, out);
  reader_.readEncoded(reader_.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
}

void TexelSource::average(int level, int64_t j, int64_t i, int n, const Run& out) const {
  const int64_t side = int64_t{1} << level;
  const int64_t height = reader_.bitmap().height(), width = reader_.bitmap().width();
  const int64_t firstRow = j * side, rows = std::min(side, height - firstRow);
  const int64_t first = i * side, columns = std::min(n * side, width - first);
  const Scratch sums(columns), line(columns);
  for (int64_t row = 0; row < rows; ++row) {
    const Run& to = row == 0 ? sums.run() : line.run();
    readLinear(firstRow + row, first, static_cast<int>(columns), to);
    if (row > 0)
      for (float* Run::*c : {&Run::r, &Run::g, &Run::b, &Run::a})
        loops_.add(sums.run().*c, line.run().*c, sums.run().*c, columns);
  }
  const auto area = static_cast<float>(rows * side);
  const int64_t cut = columns % side;  // columns of the last texel, where it has fewer than others
  for (float* Run::*c : {&Run::r, &Run::g, &Run::b, &Run::a}) {
    float *from = sums.run().*c, *to = line.run().*c;
    int64_t left = columns;
    for (int k = 0; k < level; ++k, std::swap(from, to)) {
      addPairs(from, to, left);
      left = (left + 1) / 2;
    }
    for (int64_t k = 0; k < left; ++k) (out.*c)[k] = from[k] / area;
    if (cut > 0) (out.*c)[left - 1] *= static_cast<float>(side) / static_cast<float>(cut);
  }
}

}  // namespace vello
