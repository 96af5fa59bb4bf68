// Rectangles in short, and how failing tests print them.
#pragma once

#include <ostream>

#include "source/geometry/rect_text.h"

namespace vello {

inline CGRect rect(double x, double y, double w, double h) { return {{x, y}, {w, h}}; }

inline void PrintTo(const CGPoint& p, std::ostream* out) { *out << "(" << p.x << ", " << p.y << ")"; }
inline void PrintTo(const CGRect& r, std::ostream* out) { *out << NSStringFromRect(r); }

}  // namespace vello
