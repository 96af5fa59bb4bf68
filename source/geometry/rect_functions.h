// Functions on the platform's points and rectangles.
#pragma once

#include "platform/geometry.h"

namespace vello {

// The point of `rect` nearest to `point`.
CGPoint ConstrainToRect(const CGPoint& point, const CGRect& rect);
CGPoint RectCenterPoint(const CGRect& rect);
// The rectangle that two opposite corners span.
CGRect RectSpannedBy(const CGPoint& a, const CGPoint& b);
// No component is infinite or no number.
bool IsFinite(const CGPoint& point);
bool IsFinite(const CGRect& rect);
// Maps `from` onto `to`: a point p becomes (p - from.origin) * scale + to.origin, with scale in single
// precision. Requires a `from` that is not empty.
CGAffineTransform NSRectToNSRectTransform(const CGRect& from, const CGRect& to);

}  // namespace vello
