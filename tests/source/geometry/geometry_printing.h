// How failing tests print points and rectangles.
#pragma once

#include <ostream>

#include "source/geometry/rect_text.h"

namespace vello {

inline void PrintTo(const CGPoint& p, std::ostream* out) { *out << "(" << p.x << ", " << p.y << ")"; }
inline void PrintTo(const CGRect& r, std::ostream* out) { *out << NSStringFromRect(r); }

}  // namespace vello
