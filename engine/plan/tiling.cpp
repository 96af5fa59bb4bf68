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

// The width of columns that are as wide as each other and hardly wider than `width`.
int64_t evenly(int64_t all, int64_t width) {
  constexpr int64_t step = 64;
  return split(split(all, split(all, width)), step) * step;
}

// How much longer a render takes than its threads work: some wait while others do the last tiles.
double waiting(const Tiling& tiling, const IndexRect& frame, int threads) {
  if (threads <= 1) return 1;
  const double tiles = static_cast<double>(split(frame.width(), tiling.width)) *
                       static_cast<double>(split(frame.height(), tiling.height));
  const double each = tiles / threads;
  return std::ceil(each) / each * (1 + 0.3 / each);
}

// Copies of a picture around a centre lie further apart the further away a tile is.
bool readsFar(const Step& step) { return step.ops && step.ops->kind == Kind::zoom; }

// One in the middle; where tiles differ much, the corners as well.
std::vector<IndexRect> typicalTiles(const IndexRect& frame, int64_t width, int64_t height, bool spread) {
  const int64_t x = frame.width() - width, y = frame.height() - height;
  const auto at = [&](int64_t dx, int64_t dy) {
    return IndexRect{frame.x0 + dx, frame.y0 + dy, frame.x0 + dx + width, frame.y0 + dy + height};
  };
  if (!spread) return {at(x / 2, y / 2)};
  return {at(x / 2, y / 2), at(0, 0), at(x, 0), at(0, y), at(x, y)};
}

}  // namespace

MovesLookedAt movesToPlan(const IndexRect& tile) { return {1e5 + 32 * tile.area(), 64}; }

Tiling chooseTiling(const Program& program, const Passes& passes, const IndexRect& frame, int threads,
                    int side, InstructionSet set) {
  const bool spread = std::any_of(program.steps.begin(), program.steps.end(), readsFar);
  const auto tile = [&](int64_t width, int64_t height) {
    width = std::min(width, frame.width());
    height = std::min(height, frame.height());
    Tiling sum{width, height, 0, 0, 0};
    const std::vector<IndexRect> places = typicalTiles(frame, width, height, spread);
    for (const IndexRect& place : places) {
      const Regions regions = regionsFor(program, place, set, movesToPlan(place));
      sum.bytes = std::max(sum.bytes, bytesHeld(program, passes, place, regions, set));
      sum.samples += regions.samples / place.area() / static_cast<double>(places.size());
      sum.work += regions.work / place.area() / static_cast<double>(places.size());
    }
    return sum;
  };
  if (side > 0) return tile(side, side);
  const bool square = interpolates(passes);
  Tiling best = tile(64, 64);
  double least = INFINITY;
  for (int64_t width = square ? 64 : 256; width <= 4096; width *= 2) {
    bool better = false;
    Tiling next;
    for (int parts = 4 * std::max(1, threads); parts > 0; parts /= 2) {
      next = tile(evenly(frame.width(), width), square ? evenly(frame.height(), width)
                                                       : std::max<int64_t>(64, split(frame.height(), parts)));
      // Rows that have left the cache cost more, and every row of a tile costs some by itself.
      const double crowded = std::max(0.0, std::log2(next.bytes / (2 * cacheBytes())));
      const double cost = (next.work + 0.12 * crowded * next.samples) *
                          (1 + 30.0 / static_cast<double>(width)) * waiting(next, frame, threads);
      if (cost < 0.98 * least) {
        better = true;
        least = cost;
        best = next;
      }
      if (square) break;
    }
    // Where no tile of this size spares reading far, what is read is kept instead.
    if (width >= frame.width() || ((square || !better) && next.bytes > 64 * cacheBytes())) break;
  }
  return best;
}

}  // namespace vello
