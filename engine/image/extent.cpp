#include "engine/image/extent.h"

#include <algorithm>
#include <cmath>

namespace vello {
namespace {

CGRect spanning(double x0, double y0, double x1, double y1) {
  const CGRect r{{x0, y0}, {x1 - x0, y1 - y0}};
  return isEmpty(r) ? CGRect{} : r;
}

}  // namespace

bool isInfinite(const CGRect& r) { return r == kInfiniteExtent; }

bool isEmpty(const CGRect& r) {
  return !(r.size.width > 0 && r.size.height > 0) || std::isnan(r.origin.x) || std::isnan(r.origin.y);
}

CGRect intersection(const CGRect& a, const CGRect& b) {
  if (isInfinite(a)) return isEmpty(b) ? CGRect{} : b;
  if (isInfinite(b)) return isEmpty(a) ? CGRect{} : a;
  if (isEmpty(a) || isEmpty(b)) return {};
  return spanning(std::max(a.origin.x, b.origin.x), std::max(a.origin.y, b.origin.y),
                  std::min(a.origin.x + a.size.width, b.origin.x + b.size.width),
                  std::min(a.origin.y + a.size.height, b.origin.y + b.size.height));
}

CGRect unionOf(const CGRect& a, const CGRect& b) {
  if (isInfinite(a) || isInfinite(b)) return kInfiniteExtent;
  if (isEmpty(a)) return isEmpty(b) ? CGRect{} : b;
  if (isEmpty(b)) return a;
  return spanning(std::min(a.origin.x, b.origin.x), std::min(a.origin.y, b.origin.y),
                  std::max(a.origin.x + a.size.width, b.origin.x + b.size.width),
                  std::max(a.origin.y + a.size.height, b.origin.y + b.size.height));
}

CGRect grown(const CGRect& r, double dx, double dy) {
  if (isInfinite(r)) return r;
  if (isEmpty(r)) return {};
  return spanning(r.origin.x - dx, r.origin.y - dy, r.origin.x + r.size.width + dx,
                  r.origin.y + r.size.height + dy);
}

CGRect roundedOut(const CGRect& r) {
  if (isInfinite(r)) return r;
  if (isEmpty(r)) return {};
  return spanning(std::floor(r.origin.x), std::floor(r.origin.y), std::ceil(r.origin.x + r.size.width),
                  std::ceil(r.origin.y + r.size.height));
}

}  // namespace vello
