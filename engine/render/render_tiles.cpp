// One rectangle: its tiles, computed on all cores.
#include <algorithm>
#include <cmath>
#include <mutex>
#include <numeric>

#include "engine/render/floating_point_mode.h"
#include "engine/render/frame_gate.h"
#include "engine/render/parallel.h"
#include "engine/render/render_job.h"
#include "engine/render/tile_queue.h"

namespace vello {
namespace {

// Steps that wait for one another's rows; each takes some of the thread's stack.
constexpr size_t kDeepestPasses = 4000;
// Samples of a plain colour formula that take as long as starting a thread.
constexpr double kWorkOfThread = 3e4;
constexpr int64_t kCheckedSamples = 1 << 15;  // between two looks at whether the render was abandoned

// The numbers of a grid's parts, those in the middle first.
std::vector<int64_t> fromTheMiddle(int64_t across, int64_t down) {
  std::vector<int64_t> order(static_cast<size_t>(across * down));
  std::iota(order.begin(), order.end(), 0);
  const auto away = [=](int64_t part) {
    const int64_t x = 2 * (part % across) - across + 1, y = 2 * (part / across) - down + 1;
    return x * x + y * y;
  };
  std::stable_sort(order.begin(), order.end(), [&](int64_t a, int64_t b) { return away(a) < away(b); });
  return order;
}

}  // namespace

// What the threads of one rectangle share.
struct RenderJob::TileWork {
  const Program& program;
  const Part& part;
  const IndexRect& frame;
  const Store& store;
  const int threads;
  const bool told;
  TileQueue queue;
  RenderProgress progress;
  std::mutex telling;
};

// As many as there are tiles, and work, for.
int RenderJob::threadsFor(const IndexRect& rect, const Tiling& tiling) const {
  const Tiles tiles{rect, tiling.width, tiling.height};
  if (rect.empty()) return 0;
  if (tiles.areMany()) return threads_;
  const double worthwhile = std::ceil(tiling.work * rect.area() / kWorkOfThread);
  return static_cast<int>(std::min(
      {static_cast<double>(threads_), static_cast<double>(tiles.count()), std::max(1.0, worthwhile)}));
}

Tiling RenderJob::needsOf(const Program& program, const Passes& passes, const IndexRect& tile,
                          const Regions& regions) const {
  return {tile.width(), tile.height(), bytesHeld(program, passes, tile, regions, set_),
          regions.samples / tile.area(), regions.work / tile.area()};
}

// The rows of a tile that `take` gives, in steps between which an abandoned render is noticed. `reserved`
// bytes are held already.
bool RenderJob::advance(RowEvaluator& evaluator, int64_t width, const TakeRows& take, double reserved,
                        Progress& progress, const Store& store) {
  const FloatingPointMode mode;
  try {
    const int64_t step = std::max<int64_t>(1, kCheckedSamples / width);
    while (const int64_t rows = take(step)) {
      if (progress.stopped()) return false;
      if (!options_.frame) FrameGate::shared().waitForFrames();
      const double before = std::max(reserved, evaluator.bytes());
      evaluator.advance(rows, store);
      hold(std::max(reserved, evaluator.bytes()) - before);
      if (held_ > static_cast<double>(limit_)) return progress.fail(tooMuch(held_));
      if (!progress.finished(static_cast<double>(rows * width))) return false;
    }
  } catch (const std::bad_alloc&) {
    return progress.fail(kNoMemoryForRender);
  } catch (const RenderAbandoned&) {
    return progress.fail(kRenderAbandoned);
  } catch (const SampleStore::Failure& failure) {
    return progress.fail(failure.what());
  }
  return true;
}

// Those of a part's own tiles may be known.
Regions RenderJob::regionsOf(const Program& program, const Part& part, const IndexRect& frame,
                             const IndexRect& tile) const {
  if (frame == part.rect && !part.regions.empty()) {
    const int64_t k = Tiles{frame, part.tiling.width, part.tiling.height}.numberOf(tile);
    if (const Regions& known = part.regions[static_cast<size_t>(k)]; known.exact) return known;
  }
  return regionsFor(program, tile, set_);
}

std::string RenderJob::runTiles(const Program& program, const Part& part, const IndexRect& frame,
                                const Share& share, const Store& store) {
  if (part.passes.list.size() > kDeepestPasses)
    return "this recipe has too many filters that wait for each other";
  const Tiles tiles{frame, part.tiling.width, part.tiling.height};
  const int threads = threadsFor(frame, part.tiling);
  if (std::string error = refuse(part.tiling, threads, frame.area()); !error.empty()) return error;
  const bool told = tellsTiles(share);
  const double lead = threads > 1 ? leadRows(program, part.passes, tiles.at(0), set_) : 0;
  std::vector<int64_t> order;
  if (told) order = fromTheMiddle(tiles.across(), tiles.down());
  TileWork work{program,
                part,
                frame,
                store,
                threads,
                told,
                TileQueue(tiles, std::move(order), lead, threads),
                RenderProgress(request_.progress, share, frame.area()),
                {}};
  runParts(threads, threads, [&](int64_t thread) { return runThread(work, static_cast<size_t>(thread)); });
  return work.progress.error();
}

bool RenderJob::runThread(TileWork& work, size_t thread) {
  try {
    for (IndexRect tile; !(tile = work.queue.next(thread)).empty();)
      if (!runTile(work, thread, tile)) return false;
    return true;
  } catch (const std::bad_alloc&) {
    return work.progress.fail(kNoMemoryForRender);
  }
}

bool RenderJob::runTile(TileWork& work, size_t thread, const IndexRect& tile) {
  Regions regions = regionsOf(work.program, work.part, work.frame, tile);
  if (!keptReach(work.program, regions)) return work.progress.fail("kept samples are too short");
  // Tiles differ where something is moved: none starts that would not fit.
  const Tiling needs = needsOf(work.program, work.part.passes, tile, regions);
  if (std::string error = refuse(needs, work.threads, tile.area()); !error.empty())
    return work.progress.fail(error);
  RowEvaluator evaluator(work.program, work.part.passes, tile, std::move(regions), set_, abandoned());
  // What it is going to take counts from the start: other tiles take theirs meanwhile.
  hold(needs.bytes);
  IndexRect done{tile.x0, tile.y1, tile.x1, tile.y1};
  const auto take = [&](int64_t most) {
    const int64_t rows = work.queue.take(thread, most);
    done.y0 -= rows;
    return rows;
  };
  const bool good = advance(evaluator, tile.width(), take, needs.bytes, work.progress, work.store);
  hold(-std::max(needs.bytes, evaluator.bytes()));
  if (good && work.told && !done.empty()) tell(work, done);
  return good;
}

void RenderJob::tell(TileWork& work, const IndexRect& done) const {
  const IndexRect& frame = work.frame;
  const std::lock_guard lock(work.telling);
  request_.finished({done.x0 - frame.x0, frame.y1 - done.y1, done.x1 - frame.x0, frame.y1 - done.y0});
}

}  // namespace vello
