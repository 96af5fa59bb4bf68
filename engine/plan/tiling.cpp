#include "engine/plan/tiling.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "engine/render/grid.h"
#include "engine/render/row_pair.h"

namespace vello {
namespace {

constexpr double kSampleBytes = 4 * sizeof(float);
constexpr int64_t kLeastRows = 8;                      // of a tile
constexpr size_t kLongRecipe = 50;                     // steps: fewer tiles are looked at
constexpr int64_t kSquareStep = 64, kColumnStep = 16;  // of the sides of tiles, and of the widths of columns

// Of a core's second-level cache.
double cacheBytes() {
  static const double bytes = [] {
    const long found = sysconf(_SC_LEVEL2_CACHE_SIZE);
    return found > 0 ? static_cast<double>(found) : 1 << 20;
  }();
  return bytes;
}

// What an axis step keeps beside its rows: rows filtered along x, or open sums.
double filterBytes(const Step& step, const IndexRect& region) {
  if (step.chords) {
    // Some rows come, and are made, at once.
    constexpr double together = 16;
    const auto rows = static_cast<double>(2 * step.chords->height()) + together + 4;
    return 2 * rows * static_cast<double>(region.width() + 16) * kSampleBytes +
           (together + 4) * static_cast<double>(filteredRegion(step, region).width()) * kSampleBytes;
  }
  const AxisStage &x = *step.axisX, &y = *step.axisY;
  const bool scattered = y.coarser();
  const auto rows = static_cast<double>(scattered ? y.count() / y.factor() + 3 : y.count() + 1);
  const auto width =
      static_cast<double>(scattered ? x.inputFor({region.x0, region.x1}).size() : region.width());
  return 2 * rows * (width + 16) * kSampleBytes;
}

}  // namespace

bool interpolates(const Passes& passes) {
  return std::any_of(passes.list.begin(), passes.list.end(), [](const Pass& p) { return !p.moving.empty(); });
}

double bytesHeld(const Program& program, const Passes& passes, const IndexRect& out, const Regions& all,
                 InstructionSet set) {
  if (!(all.samples < 1e300)) return all.samples;
  const int64_t middle = (out.y0 + out.y1) / 2;
  const Regions line = regionsFor(program, {out.x0, middle, out.x1, middle + 1}, set, movesToPlan(out));
  // Filters and grids take rows as they come.
  std::vector<int> readers(program.steps.size());
  std::vector<bool> filtered(program.steps.size());
  std::vector<int64_t> margins(program.steps.size());  // transparent samples that windows see on either side
  for (const Pass& pass : passes.list)
    for (const Reader& reader : pass.readers) {
      ++readers[static_cast<size_t>(reader.step)];
      if (reader.way == Reader::Way::window) {
        int64_t& margin = margins[static_cast<size_t>(reader.step)];
        margin = std::max(margin, program.steps[static_cast<size_t>(reader.by)].reach);
      }
      if (reader.way == Reader::Way::axis || reader.way == Reader::Way::grid)
        filtered[static_cast<size_t>(reader.step)] = true;
    }
  const bool grids = interpolates(passes);
  double bytes = 0;
  for (size_t k = 0; k < program.steps.size(); ++k) {
    const Step& step = program.steps[k];
    for (const IndexRect& box : all.edges[k])
      bytes += step.followsRows() ? RowPair::bytesFor(box) : Grid::bytesFor(box);
    const IndexRect& r = all.steps[k];
    if (passes.keptBy[k] < 0 || r.empty()) continue;
    // Where an edge reads everything first, what others read as well waits for them.
    const int64_t span = readers[k] == 1 && filtered[k] ? 1 : line.steps[k].height() + 2;
    const int64_t rows = grids && readers[k] > 1 ? r.height() : std::min(r.height(), span);
    const auto capacity = static_cast<double>(std::bit_ceil(static_cast<uint64_t>(rows)));
    bytes += 1.5 * capacity * static_cast<double>(r.width() + 2 * margins[k] + 64) * kSampleBytes;
    if (step.op == Step::Op::axis) bytes += filterBytes(step, r);
  }
  int slots = 0;
  for (const Pass& pass : passes.list) slots = std::max(slots, pass.slots);
  return bytes + slots * 256 * kSampleBytes;
}

namespace {

int64_t split(int64_t size, int64_t parts) { return (size + parts - 1) / parts; }

// The size of parts that are as large as each other, but for the steps they come in, and hardly larger than
// `size`.
int64_t evenly(int64_t all, int64_t size, int64_t step) {
  return split(split(all, split(all, size)), step) * step;
}

// How much longer a render takes than its threads work: some wait while others do the last tiles.
double waiting(const Tiling& tiling, const IndexRect& frame, int threads) {
  if (threads <= 1) return 1;
  const double tiles = static_cast<double>(split(frame.width(), tiling.width)) *
                       static_cast<double>(split(frame.height(), tiling.height));
  const double each = tiles / threads;
  return std::ceil(each) / each * (1 + 0.3 / each);
}

// Of columns' tiles. Threads take over rows of them, so that one for each thread is enough to begin with.
std::vector<int64_t> heightsOfColumns(const IndexRect& frame, int64_t width, int threads, bool told) {
  const int64_t fewest = split(threads, split(frame.width(), width));
  std::vector<int64_t> heights;
  for (int64_t parts = told ? std::max(fewest, int64_t{4} * threads) : fewest; parts >= fewest; parts /= 2)
    heights.push_back(std::max(kLeastRows, split(frame.height(), parts)));
  return heights;
}

// Copies of a picture around a centre lie further apart the further away a tile is.
bool readsFar(const Step& step) { return step.ops && step.ops->kind == Kind::zoom; }

// Of parts side by side, at most so many, each for as many of them.
std::vector<int64_t> typicalOf(int64_t parts, int64_t most) {
  std::vector<int64_t> numbers;
  const int64_t count = std::min(most, parts);
  for (int64_t k = 0; k < count; ++k) numbers.push_back((2 * k + 1) * parts / (2 * count));
  return numbers;
}

// Those a size is judged by: all, or some from everywhere, where they are quick to look at, else one in the
// middle, and the corners where tiles differ much.
std::vector<IndexRect> typicalTiles(const Program& program, const Passes& passes, const Tiles& tiles) {
  if (!interpolates(passes)) {
    const int64_t columns = program.steps.size() < kLongRecipe ? 24 : 4, rows = 4;
    std::vector<IndexRect> some;
    for (const int64_t row : typicalOf(tiles.down(), rows))
      for (const int64_t column : typicalOf(tiles.across(), columns)) some.push_back(tiles.at(column, row));
    return some;
  }
  const IndexRect& frame = tiles.frame;
  const int64_t x = frame.width() - tiles.width, y = frame.height() - tiles.height;
  const auto at = [&](int64_t dx, int64_t dy) {
    return IndexRect{frame.x0 + dx, frame.y0 + dy, frame.x0 + dx + tiles.width, frame.y0 + dy + tiles.height};
  };
  if (std::none_of(program.steps.begin(), program.steps.end(), readsFar)) return {at(x / 2, y / 2)};
  return {at(x / 2, y / 2), at(0, 0), at(x, 0), at(0, y), at(x, y)};
}

}  // namespace

MovesLookedAt movesToPlan(const IndexRect& tile) { return {1e5 + 32 * tile.area(), 16}; }

double leadRows(const Program& program, const Passes& passes, const IndexRect& tile, InstructionSet set) {
  if (interpolates(passes)) return INFINITY;
  const auto work = [&](int64_t rows) {
    const int64_t y = tile.y0 + (tile.height() - rows) / 2;
    return regionsFor(program, {tile.x0, y, tile.x1, y + rows}, set).work;
  };
  const int64_t few = std::max<int64_t>(1, tile.height() / 4), many = 2 * few;
  const double first = work(few), each = (work(many) - first) / static_cast<double>(many - few);
  return each > 0 ? std::max(0.0, first / each - static_cast<double>(few)) : INFINITY;
}

Tiling tilingOf(const Program& program, const Passes& passes, const IndexRect& frame, int64_t width,
                int64_t height, InstructionSet set) {
  Tiling found{std::min(width, frame.width()), std::min(height, frame.height()), 0, 0, 0};
  double area = 0;
  for (const IndexRect& tile : typicalTiles(program, passes, {frame, found.width, found.height})) {
    const Regions regions = regionsFor(program, tile, set, movesToPlan(tile));
    found.bytes = std::max(found.bytes, bytesHeld(program, passes, tile, regions, set));
    found.samples += regions.samples;
    found.work += regions.work;
    area += tile.area();
  }
  found.samples /= area, found.work /= area;
  return found;
}

Tiling chooseTiling(const Program& program, const Passes& passes, const IndexRect& frame,
                    const TilingOptions& options) {
  const int threads = std::max(1, options.threads);
  const auto tile = [&](int64_t width, int64_t height) {
    return tilingOf(program, passes, frame, width, height, options.set);
  };
  if (options.side > 0) return tile(options.side, options.side);
  const bool square = interpolates(passes);
  // Measured. Grids are read in no order.
  const double perRow = square ? 30 : 80, roomy = square ? 1 : 2, crowding = 0.25;
  const auto costOf = [&](const Tiling& size) {
    // Rows that have left the cache cost more, and every row of a tile costs some by itself: the more where
    // it is a short piece of a picture's long row, for processors foresee only what lies side by side.
    const double crowded = std::max(0.0, std::log2(size.bytes / (roomy * cacheBytes())));
    const double wait = square || options.told ? waiting(size, frame, threads) : 1;
    return (size.work + crowding * crowded * size.samples) * (1 + perRow / static_cast<double>(size.width)) *
           wait;
  };
  Tiling best = tile(64, 64);
  double least = INFINITY;
  for (int64_t side = square ? 64 : 256; side <= 4096; side *= 2) {
    bool better = false;
    Tiling next;
    const int64_t width = evenly(frame.width(), side, square ? kSquareStep : kColumnStep);
    for (const int64_t height : square ? std::vector{evenly(frame.height(), side, kSquareStep)}
                                       : heightsOfColumns(frame, width, threads, options.told)) {
      next = tile(width, height);
      if (const double cost = costOf(next); cost < 0.99 * least) {
        better = true;
        least = cost;
        best = next;
      }
    }
    // Where no tile of this size spares reading far, what is read is kept instead.
    if (side >= frame.width() || ((square || !better) && next.bytes > 64 * cacheBytes())) break;
  }
  return best;
}

}  // namespace vello
