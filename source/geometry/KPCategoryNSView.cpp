#include "source/geometry/KPCategoryNSView.h"

#include <cmath>

#include "source/geometry/KPPointTemplate.h"
#include "source/geometry/rect_functions.h"

namespace vello {
namespace {

CGPoint rounded(CGPoint p) { return {std::floor(p.x + 0.5), std::floor(p.y + 0.5)}; }

constexpr CGPoint kHalf{0.5, 0.5};

}  // namespace

CGPoint convertPointToCenteredWindowPoint(const KPView& view, CGPoint point) {
  return rounded(view.convertPointToView(point, nullptr) + kHalf) - kHalf;
}

CGRect convertPointToCenteredWindowRect(const KPView& view, CGPoint point, int pixelSize) {
  const CGPoint center = pixelSize % 2 ? convertPointToCenteredWindowPoint(view, point)
                                       : rounded(view.convertPointToView(point, nullptr));
  const double side = pixelSize - 1;
  return {{center.x - side / 2, center.y - side / 2}, {side, side}};
}

CGRect convertRectToCenteredWindowRect(const KPView& view, const CGRect& rect) {
  const CGPoint end{rect.origin.x + rect.size.width, rect.origin.y + rect.size.height};
  const CGPoint a = convertPointToCenteredWindowPoint(view, rect.origin);
  const CGPoint b = rounded(view.convertPointToView(end, nullptr) - kHalf) + kHalf;
  return RectSpannedBy(a, b);
}

bool mouseInRect(CGPoint point, const CGRect& rect) {
  return rect.origin.x <= point.x && point.x < rect.origin.x + rect.size.width && rect.origin.y < point.y &&
         point.y <= rect.origin.y + rect.size.height;
}

}  // namespace vello
