// Snaps places in a view to the pixel grid of its window, so that handles and frames are drawn crisply.
#pragma once

#include "source/screen/KPView.h"

namespace vello {

// The centre of the pixel that holds the point, in window coordinates.
CGPoint convertPointToCenteredWindowPoint(const KPView& view, CGPoint point);
// A square of `pixelSize` - 1 around the point, in window coordinates; stroked one unit wide it covers
// `pixelSize` whole pixels.
CGRect convertPointToCenteredWindowRect(const KPView& view, CGPoint point, int pixelSize);
// The rectangle with both corners on pixel centres, in window coordinates.
CGRect convertRectToCenteredWindowRect(const KPView& view, const CGRect& rect);
// The same, under the names that hit tests use.
inline CGRect convertPointToWindowRect(const KPView& view, CGPoint point, int pixelSize) {
  return convertPointToCenteredWindowRect(view, point, pixelSize);
}
inline CGRect convertRectToWindowRect(const KPView& view, const CGRect& rect) {
  return convertRectToCenteredWindowRect(view, rect);
}
// Whether the pixel of the mouse lies inside: the left and the upper edge belong to the rectangle (y up).
bool mouseInRect(CGPoint point, const CGRect& rect);

}  // namespace vello
