#include "engine/render/tile_queue.h"

#include <algorithm>
#include <utility>

namespace vello {
namespace {

// Fewer rows are not worth a tile of their own.
constexpr double kLeastRows = 8;

}  // namespace

TileQueue::TileQueue(const Tiles& tiles, std::vector<int64_t> order, double leadRows, int threads)
    : tiles_(tiles),
      order_(std::move(order)),
      leadRows_(leadRows),
      rests_(static_cast<size_t>(std::max(1, threads))) {}

IndexRect TileQueue::next(size_t thread) {
  const std::lock_guard lock(mutex_);
  if (begun_ == tiles_.count()) return rests_[thread] = divide();
  const int64_t k = begun_++;
  return rests_[thread] = tiles_.at(order_.empty() ? k : order_[static_cast<size_t>(k)]);
}

// The lower rows of what takes longest, as many as let both threads end at the same time.
IndexRect TileQueue::divide() {
  IndexRect& rest =
      *std::max_element(rests_.begin(), rests_.end(),
                        [](const IndexRect& a, const IndexRect& b) { return a.area() < b.area(); });
  const double rows = (static_cast<double>(rest.height()) - leadRows_) / 2;
  if (rest.empty() || !(rows >= std::max(kLeastRows, leadRows_ / 4))) return {};
  IndexRect taken = rest;
  taken.y1 = rest.y0 = rest.y0 + static_cast<int64_t>(rows);
  return taken;
}

int64_t TileQueue::take(size_t thread, int64_t most) {
  const std::lock_guard lock(mutex_);
  IndexRect& rest = rests_[thread];
  const int64_t rows = std::min(most, rest.height());
  rest.y1 -= rows;
  return rows;
}

}  // namespace vello
