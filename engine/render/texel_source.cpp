#include "engine/render/texel_source.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "engine/render/buffer.h"

namespace vello {

TexelSource::TexelSource(const Bitmap& bitmap, const ColorSpacePtr& working, InstructionSet set,
                         std::shared_ptr<TexelPyramid> pyramid)
    : reader_(bitmap, working, set), pyramid_(std::move(pyramid)) {
  for (int level = TexelPyramid::kLowestLevel; pyramid_ && level < pyramid_->levels(); ++level)
    levels_.push_back(std::make_unique<PixelReader>(pyramid_->level(level), working, set));
}

void TexelSource::readLinear(int64_t j, int64_t i, int n, const Run& out) const {
  reader_.readLinear(reader_.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
}

void TexelSource::readEncoded(int level, int64_t j, int64_t i, int n, const Run& out) const {
  const auto kept = static_cast<size_t>(level - TexelPyramid::kLowestLevel);
  if (level >= TexelPyramid::kLowestLevel && kept < levels_.size()) {
    pyramid_->need(level, j, i, n);
    const PixelReader& reader = *levels_[kept];
    return reader.readEncoded(reader.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
  }
  if (level > 0) return average(level, j, i, n, out);
  reader_.readEncoded(reader_.bitmap().height() - 1 - j, i, n, {out.r, out.g, out.b, out.a});
}

void TexelSource::average(int level, int64_t j, int64_t i, int n, const Run& out) const {
  const int64_t side = int64_t{1} << level;
  const int64_t height = reader_.bitmap().height(), width = reader_.bitmap().width();
  const int64_t firstRow = j * side, rows = std::min(side, height - firstRow);
  const int64_t first = i * side, columns = std::min(n * side, width - first);
  std::vector<double> sums(static_cast<size_t>(n) * 4);
  Scratch line(columns);
  const Run texels = line.run();
  for (int64_t row = 0; row < rows; ++row) {
    readLinear(firstRow + row, first, static_cast<int>(columns), texels);
    for (int64_t k = 0; k < columns; ++k) {
      double* sum = &sums[static_cast<size_t>(k >> level) * 4];
      sum[0] += texels.r[k];
      sum[1] += texels.g[k];
      sum[2] += texels.b[k];
      sum[3] += texels.a[k];
    }
  }
  for (int k = 0; k < n; ++k) {
    const double count = static_cast<double>(rows * std::min(side, columns - k * side));
    const double* sum = &sums[static_cast<size_t>(k) * 4];
    out.set(k, {static_cast<float>(sum[0] / count), static_cast<float>(sum[1] / count),
                static_cast<float>(sum[2] / count), static_cast<float>(sum[3] / count)});
  }
  reader_.encode(n, {out.r, out.g, out.b, out.a});
}

}  // namespace vello
