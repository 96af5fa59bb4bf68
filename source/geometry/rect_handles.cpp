// The handles of a rectangle: where they are, and what dragging one does.
#include <algorithm>
#include <cmath>

#include "source/geometry/KPRectTemplate.h"

namespace vello {
namespace {

struct Sides {
  bool left, right, top, bottom;
};

// The edges that a handle moves.
Sides sidesOf(KPRectHandle handle) {
  switch (handle) {
    case kRectHandleTopLeft:
      return {true, false, true, false};
    case kRectHandleTopRight:
      return {false, true, true, false};
    case kRectHandleBottomLeft:
      return {true, false, false, true};
    case kRectHandleBottomRight:
      return {false, true, false, true};
    case kRectHandleMiddleTop:
      return {false, false, true, false};
    case kRectHandleMiddleBottom:
      return {false, false, false, true};
    case kRectHandleMiddleLeft:
      return {true, false, false, false};
    case kRectHandleMiddleRight:
      return {false, true, false, false};
    default:
      return {};
  }
}

KPRectHandle handleOf(const Sides& sides) {
  if (sides.left && sides.top) return kRectHandleTopLeft;
  if (sides.left && sides.bottom) return kRectHandleBottomLeft;
  if (sides.right && sides.top) return kRectHandleTopRight;
  if (sides.right && sides.bottom) return kRectHandleBottomRight;
  if (sides.top) return kRectHandleMiddleTop;
  if (sides.bottom) return kRectHandleMiddleBottom;
  if (sides.left) return kRectHandleMiddleLeft;
  return sides.right ? kRectHandleMiddleRight : kRectHandleNone;
}

KPRectHandle oppositeOf(KPRectHandle handle) {
  const Sides sides = sidesOf(handle);
  return handleOf({sides.right, sides.left, sides.bottom, sides.top});
}

bool isCorner(KPRectHandle handle) {
  const Sides sides = sidesOf(handle);
  return (sides.left || sides.right) && (sides.top || sides.bottom);
}

bool isWithin(float value, float low, float high) { return low < value && value < high; }

}  // namespace

KPRectHandle KPRectTemplate::GetHandle(const KPPointTemplate& point, float inside, float outside) const {
  Sides sides{};
  sides.left = isWithin(point.x(), Left() - outside, Left() + inside);
  sides.right = !sides.left && isWithin(point.x(), Right() - inside, Right() + outside);
  sides.top = isWithin(point.y(), Top() - outside, Top() + inside);
  sides.bottom = !sides.top && isWithin(point.y(), Bottom() - inside, Bottom() + outside);
  const KPRectHandle handle = handleOf(sides);
  return isCorner(handle) ? handle : kRectHandleNone;
}

KPPointTemplate KPRectTemplate::GetHandlePoint(KPRectHandle handle) const {
  const Sides sides = sidesOf(handle);
  if (handleOf(sides) == kRectHandleNone) return Origin();
  const KPPointTemplate center = Center();
  return {sides.left    ? Left()
          : sides.right ? Right()
                        : center.x(),
          sides.top      ? Top()
          : sides.bottom ? Bottom()
                         : center.y()};
}

KPPointTemplate KPRectTemplate::GetOppositeHandlePoint(KPRectHandle handle) const {
  return GetHandlePoint(oppositeOf(handle));
}

KPRectHandle KPRectTemplate::ValidateMoveHandle(KPRectHandle handle, const KPPointTemplate& point) {
  const Sides sides = sidesOf(handle);
  const bool acrossX = (sides.left && point.x() > Right()) || (sides.right && point.x() < Left());
  const bool acrossY = (sides.top && point.y() > Bottom()) || (sides.bottom && point.y() < Top());
  if (!acrossX && !acrossY) return handle;
  // The edge that is crossed becomes the pivot; the other coordinate stays that of the handle.
  KPPointTemplate pivot = GetHandlePoint(handle);
  const KPPointTemplate fixed = GetOppositeHandlePoint(handle);
  if (acrossX) pivot.SetX(fixed.x());
  if (acrossY) pivot.SetY(fixed.y());
  dragHandle(handle, pivot);
  Sides flipped = sides;
  if (acrossX) std::swap(flipped.left, flipped.right);
  if (acrossY) std::swap(flipped.top, flipped.bottom);
  return handleOf(flipped);
}

void KPRectTemplate::dragHandle(KPRectHandle handle, const KPPointTemplate& point) {
  const KPPointTemplate d = point - Origin();
  const Sides sides = sidesOf(handle);
  if (sides.left) size.width = static_cast<float>(size.width - d.x()), origin.x = point.x();
  if (sides.right) size.width = d.x();
  if (sides.top) size.height = static_cast<float>(size.height - d.y()), origin.y = point.y();
  if (sides.bottom) size.height = d.y();
}

KPRectHandle KPRectTemplate::MoveHandle(KPRectHandle handle, const KPPointTemplate& point) {
  const KPRectHandle dragged = ValidateMoveHandle(handle, point);
  dragHandle(dragged, point);
  return dragged;
}

void KPRectTemplate::moveLeftEdge(float by) {
  origin.x = static_cast<float>(origin.x + by);
  size.width = static_cast<float>(size.width - by);
}

void KPRectTemplate::moveTopEdge(float by) {
  origin.y = static_cast<float>(origin.y + by);
  size.height = static_cast<float>(size.height - by);
}

KPRectHandle KPRectTemplate::MoveHandle(KPRectHandle handle, const KPPointTemplate& point, float ratio) {
  const KPRectHandle dragged = MoveHandle(handle, point);
  const Sides sides = sidesOf(dragged);
  if (!(ratio > 0) || !std::isfinite(ratio) || handleOf(sides) == kRectHandleNone) return dragged;
  const float w = Width(), h = Height();
  float width = h * ratio, height = width / ratio;  // the height is the user's
  if (isCorner(dragged)) {
    height = w > width ? h : w / ratio;
    width = std::min(w, width);
  } else if (sides.left || sides.right) {  // the width is the user's
    height = w / ratio;
    width = ratio * height;
  }
  if (sides.left) origin.x = static_cast<float>(origin.x - (width - w));
  if (sides.top) origin.y = static_cast<float>(origin.y - (height - h));
  if (!sides.left && !sides.right) origin.x = static_cast<float>(origin.x - (width - w) / 2);
  if (!sides.top && !sides.bottom) origin.y = static_cast<float>(origin.y - (height - h) / 2);
  Resize(width, height);
  return dragged;
}

KPRectHandle KPRectTemplate::MoveHandle(KPRectHandle handle, const KPPointTemplate& point, float ratio,
                                        const KPRectTemplate& bounds) {
  const KPRectHandle dragged = MoveHandle(handle, bounds.ConstrainedPoint(point), ratio);
  const KPRectTemplate room = bounds.GetConstrainedRect(*this);
  if (room.Width() == Width() && room.Height() == Height()) return dragged;
  if (!(ratio > 0) || !std::isfinite(ratio)) {
    *this = room;
    return dragged;
  }
  KPSizeTemplate fitting(room.Width(), room.Width() / ratio);
  if (fitting.Height() > room.Height()) fitting.Set(room.Height() * ratio, room.Height());
  const KPSizeTemplate excess(Width() - fitting.Width(), Height() - fitting.Height());
  const Sides sides = sidesOf(dragged);
  if (isCorner(dragged)) {
    fitCornerInto(dragged, excess);
  } else if (sides.top || sides.bottom) {
    fitMiddleTopOrBottomInto(dragged, room, excess.Height(), ratio);
  } else {
    fitMiddleLeftOrRightInto(dragged, room, excess, ratio);
  }
  return dragged;
}

void KPRectTemplate::fitCornerInto(KPRectHandle handle, KPSizeTemplate excess) {
  const Sides sides = sidesOf(handle);
  if (sides.top) moveTopEdge(excess.Height());
  if (sides.bottom) moveBottomEdge(-excess.Height());
  if (sides.left) moveLeftEdge(excess.Width());
  if (sides.right) moveRightEdge(-excess.Width());
}

void KPRectTemplate::fitMiddleTopOrBottomInto(KPRectHandle handle, const KPRectTemplate& room, float dh,
                                              float ratio) {
  const float over = std::max({0.0f, room.Left() - Left(), Right() - room.Right()});
  // Where nothing sticks out sideways, the width shrinks by the excess height, not by that of the width.
  const float narrower = over > 0 ? 2 * over : dh;
  if (over > 0) dh = Height() - (Width() - narrower) / ratio;
  origin.x = static_cast<float>(origin.x + narrower / 2);
  moveRightEdge(-narrower);
  if (handle == kRectHandleMiddleTop)
    moveTopEdge(dh);
  else
    moveBottomEdge(-dh);
}

void KPRectTemplate::fitMiddleLeftOrRightInto(KPRectHandle handle, const KPRectTemplate& room,
                                              KPSizeTemplate excess, float ratio) {
  const float over = std::max({0.0f, room.Top() - Top(), Bottom() - room.Bottom()});
  const float shorter = over > 0 ? 2 * over : excess.Height();
  const float dw = over > 0 ? Width() - (Height() - shorter) * ratio : excess.Width();
  origin.y = static_cast<float>(origin.y + shorter / 2);
  moveBottomEdge(-shorter);
  if (handle == kRectHandleMiddleLeft)
    moveLeftEdge(dw);
  else
    moveRightEdge(-dw);
}

}  // namespace vello
