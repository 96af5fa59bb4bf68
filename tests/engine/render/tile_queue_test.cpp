// Threads share the rows of a picture: each is computed once, whoever comes when.
#include "engine/render/tile_queue.h"

#include <gtest/gtest.h>

#include <random>

#include "engine/render/context.h"
#include "tests/engine/filtered.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using testing::filtered;
using testing::picture;
using testing::rendered;
using testing::rgba8;

constexpr IndexRect kFrame{-5, 7, 95, 331};

// Lets threads come in any order until nothing is left. Returns how often each row of each column was taken.
std::vector<int> timesTaken(TileQueue& queue, int threads, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<int> times(static_cast<size_t>(kFrame.area()));
  std::vector<IndexRect> tiles(static_cast<size_t>(threads));
  std::vector<bool> done(static_cast<size_t>(threads));
  for (int left = threads; left > 0;) {
    const size_t k = random() % tiles.size();
    if (done[k]) continue;
    IndexRect& tile = tiles[k];
    const int64_t rows = tile.empty() ? 0 : queue.take(k, 1 + static_cast<int64_t>(random() % 40));
    for (int64_t j = tile.y1 - rows; j < tile.y1; ++j)
      for (int64_t i = tile.x0; i < tile.x1; ++i)
        ++times[static_cast<size_t>((j - kFrame.y0) * kFrame.width() + i - kFrame.x0)];
    tile.y1 -= rows;
    if (rows > 0) continue;
    tile = queue.next(k);
    if (tile.empty()) done[k] = true, --left;
  }
  return times;
}

TEST(TileQueue, HandsOutEveryRowOnce) {
  for (const Tiles& tiles : {Tiles{kFrame, 100, 324}, Tiles{kFrame, 33, 60}, Tiles{kFrame, 100, 1}})
    for (const double lead : {0.0, 20.5, static_cast<double>(INFINITY)})
      for (unsigned seed = 1; seed <= 20; ++seed) {
        TileQueue queue(tiles, {}, lead, 3);
        const std::vector<int> times = timesTaken(queue, 3, seed);
        EXPECT_TRUE(std::all_of(times.begin(), times.end(), [](int n) { return n == 1; }))
            << tiles.width << " x " << tiles.height << ", " << lead << ", " << seed;
      }
}

TEST(TileQueue, LeavesLateThreadsAsMuchAsLetsAllEndTogether) {
  TileQueue queue({kFrame, 100, 324}, {}, 24, 2);
  EXPECT_EQ(queue.next(0), kFrame);
  EXPECT_EQ(queue.take(0, 100), 100);
  EXPECT_EQ(queue.next(1), (IndexRect{-5, 7, 95, 107}));  // computes 24 rows more than these 100
  EXPECT_EQ(queue.take(0, 1000), 124);
  EXPECT_EQ(queue.take(1, 40), 40);
  EXPECT_EQ(queue.next(0), (IndexRect{-5, 7, 95, 25}));
  EXPECT_EQ(queue.take(1, 1000), 42);
  EXPECT_TRUE(queue.next(1).empty());  // no longer worth while

  TileQueue whole({kFrame, 100, 324}, {}, INFINITY, 2);
  EXPECT_EQ(whole.next(0), kFrame);
  EXPECT_TRUE(whole.next(1).empty());
}

// Threads that outnumber the cores end at very different times.
TEST(TileQueue, GivesTheSamePictureWhoeverComputesIt) {
  const CGRect rect{{0, 0}, {120, 900}};
  CIImage image = filtered(picture(120, 900), "CIUnsharpMask", {{"inputRadius", 3.0}});
  image = filtered(image, "CIGaussianBlur", {{"inputRadius", 6.0}});
  const auto expected = rendered(image, rect, rgba8(0, 0), {.threads = 1});
  for (int k = 0; k < 20; ++k) EXPECT_TRUE(rendered(image, rect, rgba8(0, 0), {.threads = 7}) == expected);
}

TEST(TileQueue, TellsOfEveryPixelOnce) {
  const CIImage image = filtered(picture(300, 700), "CIGaussianBlur", {{"inputRadius", 3.0}});
  std::vector<int> times(300 * 700);
  RenderRequest request{image, {{0, 0}, {300, 700}}};
  request.finished = [&](const IndexRect& part) {
    for (int64_t y = part.y0; y < part.y1; ++y)
      for (int64_t x = part.x0; x < part.x1; ++x) ++times[static_cast<size_t>(y * 300 + x)];
  };
  std::string error;
  CIContext({.threads = 4}).createBitmap(request, rgba8(0, 0), ColorSpace::sRGB(), &error);
  EXPECT_EQ(error, "");
  EXPECT_TRUE(std::all_of(times.begin(), times.end(), [](int n) { return n == 1; }));
}

}  // namespace
}  // namespace vello
