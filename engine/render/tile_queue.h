// Hands the tiles of a rectangle to threads. One that finds none left takes over the lower rows of a tile
// that another thread has not come to yet, so that tiles can be tall and no thread waits.
#pragma once

#include <mutex>
#include <vector>

#include "engine/plan/tiling.h"

namespace vello {

class TileQueue {
 public:
  // The tiles in the order of their numbers, or in another one. `leadRows` are what a thread computes before
  // the first row of a tile, in rows of it; infinite where tiles cannot be divided.
  TileQueue(const Tiles& tiles, std::vector<int64_t> order, double leadRows, int threads);
  // What a thread begins with next; empty when nothing is left to take.
  IndexRect next(size_t thread);
  // The rows of it that come next, from the top, at most `most`; 0 when none are left.
  int64_t take(size_t thread, int64_t most);

 private:
  IndexRect divide();

  const Tiles tiles_;
  const std::vector<int64_t> order_;
  const double leadRows_;
  std::mutex mutex_;
  int64_t begun_ = 0;             // tiles
  std::vector<IndexRect> rests_;  // of the tile of each thread, what it has not come to
};

}  // namespace vello
