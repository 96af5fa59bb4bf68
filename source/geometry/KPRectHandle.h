// The eight handles of a rectangle. Top is the edge at the smaller y.
#pragma once

namespace vello {

enum KPRectHandle {
  kRectHandleNone,
  kRectHandleTopLeft,
  kRectHandleTopRight,
  kRectHandleBottomLeft,
  kRectHandleBottomRight,
  kRectHandleMiddleTop,
  kRectHandleMiddleBottom,
  kRectHandleMiddleLeft,
  kRectHandleMiddleRight,
};

}  // namespace vello
