#include "source/geometry/rect_functions.h"

#include <algorithm>
#include <cmath>

namespace vello {

CGPoint ConstrainToRect(const CGPoint& point, const CGRect& rect) {
  return {std::min(std::max(rect.origin.x, point.x), rect.origin.x + rect.size.width),
          std::min(std::max(rect.origin.y, point.y), rect.origin.y + rect.size.height)};
}

CGPoint RectCenterPoint(const CGRect& rect) {
  return {rect.origin.x + 0.5 * rect.size.width, rect.origin.y + 0.5 * rect.size.height};
}

CGRect RectSpannedBy(const CGPoint& a, const CGPoint& b) {
  return {{std::min(a.x, b.x), std::min(a.y, b.y)}, {std::fabs(a.x - b.x), std::fabs(a.y - b.y)}};
}

bool IsFinite(const CGPoint& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

bool IsFinite(const CGRect& rect) {
  return IsFinite(rect.origin) && std::isfinite(rect.size.width) && std::isfinite(rect.size.height);
}

CGAffineTransform NSRectToNSRectTransform(const CGRect& from, const CGRect& to) {
  const float scaleX = static_cast<float>(to.size.width / from.size.width);
  const float scaleY = static_cast<float>(to.size.height / from.size.height);
  const CGAffineTransform toZero{1, 0, 0, 1, -from.origin.x, -from.origin.y};
  const CGAffineTransform scale{scaleX, 0, 0, scaleY, 0, 0};
  const CGAffineTransform toPlace{1, 0, 0, 1, to.origin.x, to.origin.y};
  return CGAffineTransformConcat(CGAffineTransformConcat(toZero, scale), toPlace);
}

}  // namespace vello
