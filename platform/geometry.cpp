#include "platform/geometry.h"

#include <algorithm>

namespace vello {

CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& f, const CGAffineTransform& s) {
  return {f.a * s.a + f.b * s.c, f.a * s.b + f.b * s.d,          f.c * s.a + f.d * s.c,
          f.c * s.b + f.d * s.d, f.tx * s.a + f.ty * s.c + s.tx, f.tx * s.b + f.ty * s.d + s.ty};
}

CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t) {
  const double det = t.a * t.d - t.b * t.c;
  if (det == 0) return t;
  return {t.d / det,
          -t.b / det,
          -t.c / det,
          t.a / det,
          (t.c * t.ty - t.d * t.tx) / det,
          (t.b * t.tx - t.a * t.ty) / det};
}

CGPoint CGPointApplyAffineTransform(CGPoint p, const CGAffineTransform& t) {
  return {t.a * p.x + t.c * p.y + t.tx, t.b * p.x + t.d * p.y + t.ty};
}

CGRect CGRectApplyAffineTransform(const CGRect& r, const CGAffineTransform& t) {
  const double right = r.origin.x + r.size.width, top = r.origin.y + r.size.height;
  const CGPoint corners[] = {
      CGPointApplyAffineTransform(r.origin, t), CGPointApplyAffineTransform({right, r.origin.y}, t),
      CGPointApplyAffineTransform({r.origin.x, top}, t), CGPointApplyAffineTransform({right, top}, t)};
  CGPoint low = corners[0], high = corners[0];
  for (const CGPoint& c : corners) {
    low = {std::min(low.x, c.x), std::min(low.y, c.y)};
    high = {std::max(high.x, c.x), std::max(high.y, c.y)};
  }
  return {low, {high.x - low.x, high.y - low.y}};
}

}  // namespace vello
