#include "engine/render/texel_pyramid.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>

#include "engine/render/lattice.h"

namespace vello {
namespace {

// Of the blocks that are computed at once, in texels of their level.
constexpr int64_t kBlockWidth = 256, kBlockHeight = 16;

int64_t parts(int64_t size, int64_t part) { return (size + part - 1) / part; }

PixelLayout levelLayout(const PixelLayout& source, int64_t width, int64_t height) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.bitsPerComponent = source.bitsPerComponent;
  layout.isFloat = source.isFloat;
  layout.bytesPerRow = width * layout.bytesPerPixel();
  return layout;
}

// Where means can be kept as colour.
ColorSpacePtr levelSpace(const ColorSpacePtr& space) {
  return space->isMatrix() && space->componentCount() == 3 ? space : ColorSpace::sRGB();
}

constexpr float* Run::*kChannels[] = {&Run::r, &Run::g, &Run::b, &Run::a};

void add(const float* __restrict v, float weight, float* __restrict sums, int64_t n) {
  for (int64_t k = 0; k < n; ++k) sums[k] += weight * v[k];
}

// The texels that a level is the means of.
struct Below {
  int halvings;               // of their number along a side
  int64_t width, height;      // texels
  float lastColumn, lastRow;  // how much of them there is

  Below(const Bitmap& source, int level) : halvings(level == TexelPyramid::kLowestLevel ? level : 1) {
    const int64_t side = int64_t{1} << (level - halvings);
    const auto share = [side](int64_t size) {
      return static_cast<float>((size - 1) % side + 1) / static_cast<float>(side);
    };
    width = parts(source.width(), side);
    height = parts(source.height(), side);
    lastColumn = share(source.width());
    lastRow = share(source.height());
  }
};

}  // namespace

void addPairs(const float* __restrict v, float* __restrict sums, int64_t n) {
  for (int64_t k = 0; k < n / 2; ++k) sums[k] = v[2 * k] + v[2 * k + 1];
  if (n % 2 != 0) sums[n / 2] = v[n - 1];
}

struct TexelPyramid::Level {
  std::shared_ptr<uint8_t[]> bytes;
  Bitmap bitmap;
  PixelReader reader;
  PixelWriter writer;
  int64_t blocksAcross;
  std::vector<std::atomic<bool>> ready;  // by block
  std::array<std::mutex, 16> computing;  // shared by blocks

  Level(const PixelLayout& layout, const ColorSpacePtr& space)
      : bytes(std::make_unique_for_overwrite<uint8_t[]>(
            static_cast<size_t>(layout.bytesPerRow * layout.height))),
        bitmap(layout, space, bytes, bytes.get()),
        reader(bitmap),
        writer(layout, space),
        blocksAcross(parts(layout.width, kBlockWidth)),
        ready(static_cast<size_t>(blocksAcross * parts(layout.height, kBlockHeight))) {}
};

TexelPyramid::TexelPyramid(const Bitmap& source) : source_(source) {
  const ColorSpacePtr space = levelSpace(source.space());
  int64_t side = int64_t{1} << kLowestLevel;
  for (bool more = true; more; side *= 2) {
    const PixelLayout layout =
        levelLayout(source.layout(), parts(source.width(), side), parts(source.height(), side));
    levels_.push_back(std::make_unique<Level>(layout, space));
    bytes_ += layout.bytesPerRow * layout.height;
    more = std::max(layout.width, layout.height) > 1;
  }
}

TexelPyramid::~TexelPyramid() = default;

const Bitmap& TexelPyramid::level(int level) const { return levels_[index(level)]->bitmap; }

void TexelPyramid::need(int level, int64_t j, int64_t i, int64_t n) {
  Level& own = *levels_[index(level)];
  const int64_t row = j / kBlockHeight, height = own.bitmap.height(), width = own.bitmap.width();
  for (int64_t column = i / kBlockWidth; column * kBlockWidth < i + n; ++column) {
    const auto block = static_cast<size_t>(row * own.blocksAcross + column);
    if (own.ready[block].load(std::memory_order_acquire)) continue;
    const std::lock_guard lock(own.computing[block % own.computing.size()]);
    if (own.ready[block].load(std::memory_order_relaxed)) continue;
    const int64_t x = column * kBlockWidth, y = row * kBlockHeight;
    compute(level, {x, y, std::min(width, x + kBlockWidth), std::min(height, y + kBlockHeight)});
    own.ready[block].store(true, std::memory_order_release);
  }
}

// Of the texels that a level is the means of.
void TexelPyramid::readBelow(int level, int64_t j, int64_t i, int n, const Run& out) {
  const PlanarRun to{out.r, out.g, out.b, out.a};
  if (level == kLowestLevel) return source_.readLinear(source().height() - 1 - j, i, n, to);
  need(level - 1, j, i, n);
  const Level& below = *levels_[index(level - 1)];
  below.reader.readLinear(below.bitmap.height() - 1 - j, i, n, to);
}

// Sums of rows [begin, end), and how many they are: of the last one there may be a part only.
float TexelPyramid::addRows(int level, int64_t begin, int64_t end, int64_t first, int64_t n, const Run& sums,
                            const Run& line) {
  const Below below(source(), level);
  const auto columns = static_cast<int>(n);
  readBelow(level, begin, first, columns, sums);
  float count = 1;
  for (int64_t row = begin + 1; row < end; ++row) {
    const float weight = row + 1 == below.height ? below.lastRow : 1;
    count += weight;
    readBelow(level, row, first, columns, line);
    for (const auto channel : kChannels) add(line.*channel, weight, sums.*channel, n);
  }
  return count;
}

void TexelPyramid::compute(int level, const IndexRect& block) {
  const Level& own = *levels_[index(level)];
  const Below below(source(), level);
  const int64_t factor = int64_t{1} << below.halvings, first = block.x0 * factor;
  const int64_t columns = std::min(block.x1 * factor, below.width) - first;
  const bool toTheEnd = first + columns == below.width;
  const float lastCount =
      static_cast<float>((columns - 1) % factor) + (toTheEnd ? below.lastColumn : 1.0f);  // of the last texel
  const Scratch summed(columns), spare(columns);
  for (int64_t j = block.y0; j < block.y1; ++j) {
    Run from = summed.run(), to = spare.run();
    const float rows =
        addRows(level, j * factor, std::min((j + 1) * factor, below.height), first, columns, from, to);
    int64_t n = columns;
    if (toTheEnd)
      for (const auto channel : kChannels) (from.*channel)[columns - 1] *= below.lastColumn;
    for (int k = 0; k < below.halvings; ++k, std::swap(from, to)) {
      for (const auto channel : kChannels) addPairs(from.*channel, to.*channel, n);
      n = (n + 1) / 2;
    }
    const float share = 1 / (static_cast<float>(factor) * rows);
    for (const auto channel : kChannels) {
      for (int64_t k = 0; k + 1 < n; ++k) (from.*channel)[k] *= share;
      (from.*channel)[n - 1] /= lastCount * rows;
    }
    own.writer.write({from.r, from.g, from.b, from.a}, static_cast<int>(n),
                     own.bytes.get() + (own.bitmap.height() - 1 - j) * own.bitmap.layout().bytesPerRow +
                         block.x0 * own.bitmap.layout().bytesPerPixel());
  }
}

}  // namespace vello
