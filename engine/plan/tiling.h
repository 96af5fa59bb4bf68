// In which rectangles a program is evaluated, so that what each holds stays near the processor and little is
// computed twice.
#pragma once

#include "engine/plan/passes.h"
#include "engine/plan/regions.h"

namespace vello {

struct Tiling {
  int64_t width = 0, height = 0;  // of a tile, in samples of the root; those at the borders may be smaller
  double bytes = 0;               // at most held by one tile
  double samples = 0;             // computed for each sample of the root
  double work = 0;                // the same, in samples of a plain colour formula
};

// The tiles of a rectangle, from its upper left corner row by row.
struct Tiles {
  IndexRect frame;
  int64_t width = 0, height = 0;
  int64_t across() const { return (frame.width() + width - 1) / width; }
  int64_t down() const { return (frame.height() + height - 1) / height; }
  int64_t count() const { return across() * down(); }
  // Of an endless input there are more than can be counted, or looked at.
  bool areMany() const { return static_cast<double>(across()) * static_cast<double>(down()) > 1e6; }
  IndexRect at(int64_t k) const { return at(k % across(), k / across()); }
  int64_t numberOf(const IndexRect& tile) const {
    return (frame.y1 - tile.y1) / height * across() + (tile.x0 - frame.x0) / width;
  }
  // Columns from the left, rows from the top.
  IndexRect at(int64_t column, int64_t row) const {
    const int64_t x = frame.x0 + column * width, y = frame.y1 - row * height;
    return intersection(frame, {x, y - height, x + width, y});
  }
};

// As many as are computed to plan a tile: no more than warps that pay need.
MovesLookedAt movesToPlan(const IndexRect& tile);

struct TilingOptions {
  int threads = 1;
  int side = 0;       // above 0: of all tiles
  bool told = false;  // somebody waits for single tiles
  InstructionSet set = InstructionSet::baseline;
};

Tiling chooseTiling(const Program& program, const Passes& passes, const IndexRect& frame,
                    const TilingOptions& options);

// What tiles of a size need, roughly where something is moved.
Tiling tilingOf(const Program& program, const Passes& passes, const IndexRect& frame, int64_t width,
                int64_t height, InstructionSet set);

// Whether some pass reads between samples: then tiles differ in what they need.
bool interpolates(const Passes& passes);

// How many rows of a tile take as long as what is computed before its first one. Infinite where rows cannot
// be left to another tile.
double leadRows(const Program& program, const Passes& passes, const IndexRect& tile, InstructionSet set);

// At most held by an evaluation of `out`.
double bytesHeld(const Program& program, const Passes& passes, const IndexRect& out, const Regions& regions,
                 InstructionSet set);

}  // namespace vello
