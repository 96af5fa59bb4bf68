// Reads rows of a step's samples as its users want them: premultiplied or straight, transparent where there
// are none.
#pragma once

#include "engine/render/buffer.h"

namespace vello {

// Samples [i, i + n) of row j, straight or premultiplied as `wanted` says. Points into the buffer where that
// serves, else into `scratch` (room for n).
inline Run readRow(const Buffer& buffer, bool straight, int64_t j, int64_t i, int64_t n, bool wanted,
                   const Run& scratch) {
  const IndexRect& r = buffer.rect();
  const bool inside = !buffer.empty() && j >= r.y0 && j < r.y1 && i >= r.x0 && i + n <= r.x1;
  if (inside && straight == wanted) return buffer.at(i, j);
  clearRun(scratch, n);
  if (buffer.empty() || j < r.y0 || j >= r.y1) return scratch;
  const int64_t begin = std::max(i, r.x0), end = std::min(i + n, r.x1);
  if (begin >= end) return scratch;
  copyRun(buffer.at(begin, j), advanced(scratch, begin - i), end - begin);
  if (straight && !wanted) premultiply(scratch, n);
  if (!straight && wanted) unpremultiply(scratch, n);
  return scratch;
}

}  // namespace vello
