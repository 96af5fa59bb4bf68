#include "engine/render/interpolation.h"

#include "engine/render/row_reader.h"

namespace vello {

Buffer gatherGrid(const GridEdge& edge, const IndexRect& box, const Buffer* step, bool straight) {
  Buffer grid(box);
  if (box.empty()) return grid;
  constexpr int64_t longest = 1 << 20;
  for (int64_t j = box.y0; j < box.y1; ++j)
    for (int64_t i = box.x0; i < box.x1; i += longest) {
      const int64_t n = std::min(longest, box.x1 - i);
      const Run out = grid.at(i, j);
      if (edge.source) {
        edge.source->readEncoded(edge.level, j, i, static_cast<int>(n), out);
      } else if (const Run in = readRow(*step, straight, j, i, n, false, out); in.r != out.r) {
        copyRun(in, out, n);
      }
    }
  return grid;
}

}  // namespace vello
