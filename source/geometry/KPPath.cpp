#include "source/geometry/KPPath.h"

namespace vello {

KPPath KPPath::bezierPathWithRoundRect(const CGRect& rect, double radius) {
  const double left = rect.origin.x + radius, right = rect.origin.x + rect.size.width - radius;
  const double low = rect.origin.y + radius, high = rect.origin.y + rect.size.height - radius;
  KPPath path;
  path.appendArc({left, low}, radius, 180, 270);
  path.appendArc({right, low}, radius, 270, 360);
  path.appendArc({right, high}, radius, 0, 90);
  path.appendArc({left, high}, radius, 90, 180);
  path.closePath();
  return path;
}

KPPath KPPath::bezierPathWithOvalInRect(const CGRect& square) {
  const double radius = square.size.width / 2;
  KPPath path;
  path.appendArc({square.origin.x + radius, square.origin.y + radius}, radius, 0, 360);
  path.closePath();
  return path;
}

}  // namespace vello
