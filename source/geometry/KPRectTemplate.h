// A rectangle on the canvas. Top is the edge at the smaller y, whichever way up the view is drawn.
//
// Kept in double precision like the platform's; every argument and result is single, and what is stored has
// been rounded to single once. Sums are formed in double before that, so that the difference of two huge
// edges is no NaN.
#pragma once

#include <string>

#include "source/geometry/KPPointTemplate.h"
#include "source/geometry/KPRectHandle.h"
#include "source/geometry/KPSizeTemplate.h"

namespace vello {

class KPRectTemplate : public CGRect {
 public:
  KPRectTemplate() = default;
  KPRectTemplate(float x, float y, float width, float height) {
    MoveTo(x, y);
    Resize(width, height);
  }
  KPRectTemplate(const CGRect& rect) : CGRect(rect) {}
  // The rectangle two opposite corners span.
  KPRectTemplate(const KPPointTemplate& a, const KPPointTemplate& b);

  float Left() const { return static_cast<float>(origin.x); }
  float Top() const { return static_cast<float>(origin.y); }
  float Right() const { return static_cast<float>(origin.x + size.width); }
  float Bottom() const { return static_cast<float>(origin.y + size.height); }
  float Width() const { return static_cast<float>(size.width); }
  float Height() const { return static_cast<float>(size.height); }
  KPPointTemplate Origin() const { return origin; }
  KPSizeTemplate Size() const { return size; }

  KPPointTemplate TopLeft() const { return {Left(), Top()}; }
  KPPointTemplate TopRight() const { return {Right(), Top()}; }
  KPPointTemplate BottomLeft() const { return {Left(), Bottom()}; }
  KPPointTemplate BottomRight() const { return {Right(), Bottom()}; }
  KPPointTemplate MiddleTop() const { return {Center().x(), Top()}; }
  KPPointTemplate MiddleBottom() const { return {Center().x(), Bottom()}; }
  KPPointTemplate MiddleLeft() const { return {Left(), Center().y()}; }
  KPPointTemplate MiddleRight() const { return {Right(), Center().y()}; }
  KPPointTemplate Center() const;

  void MoveTo(float x, float y) { origin = {x, y}; }
  void MoveTo(const KPPointTemplate& point) { MoveTo(point.x(), point.y()); }
  void MoveBy(float dx, float dy);
  void MoveBy(const KPPointTemplate& by) { MoveBy(by.x(), by.y()); }
  void CenterOn(float x, float y);
  void CenterOn(const KPPointTemplate& point) { CenterOn(point.x(), point.y()); }
  void Resize(float width, float height) { size = {width, height}; }
  void Resize(const KPSizeTemplate& to) { Resize(to.Width(), to.Height()); }
  void SetWidth(float width) { size.width = width; }
  void SetHeight(float height) { size.height = height; }
  // These keep the opposite edge.
  void SetLeft(float x);
  void SetTop(float y);
  void SetRight(float x) { size.width = static_cast<float>(x - origin.x); }
  void SetBottom(float y) { size.height = static_cast<float>(y - origin.y); }
  void Inset(float dx, float dy);
  // About the centre.
  void Scale(float factor);
  // Origin and size, each for itself: the far edges are not rounded as edges. Halves go up.
  void Round();

  bool IsEmpty() const { return Width() <= 0 || Height() <= 0; }
  // All four edges belong to the rectangle.
  bool Contains(const KPPointTemplate& point) const;
  bool Contains(const KPRectTemplate& rect) const;
  // Width and height of the result are never negative.
  void Intersect(const KPRectTemplate& rect);
  KPRectTemplate GetIntersection(const KPRectTemplate& rect) const;
  // Whether they have an area in common.
  bool Intersects(const KPRectTemplate& rect) const { return !GetIntersection(rect).IsEmpty(); }
  // The smallest rectangle that holds both. An empty one adds nothing.
  void Union(const KPRectTemplate& rect);
  KPRectTemplate GetUnion(const KPRectTemplate& rect) const;
  // Grows just enough to hold the point.
  void Expand(const KPPointTemplate& point);

  // The strip between an edge of this rectangle and the same edge of the other, for redrawing what changed;
  // zero when the edges are equal.
  KPRectTemplate TopDifference(const KPRectTemplate& rect) const;
  KPRectTemplate BottomDifference(const KPRectTemplate& rect) const;
  KPRectTemplate LeftDifference(const KPRectTemplate& rect) const;
  KPRectTemplate RightDifference(const KPRectTemplate& rect) const;

  // `rect` clipped to this one edge by edge. It may come out with zero size, but never lies outside.
  KPRectTemplate GetConstrainedRect(KPRectTemplate rect) const;
  // The point of this rectangle nearest to `point`.
  KPPointTemplate ConstrainedPoint(KPPointTemplate point) const;
  // Moves this rectangle onto the centre of `rect`, but not to an origin below zero; false if that stopped
  // it.
  bool CenterInRect(const KPRectTemplate& rect);
  // Becomes the bounding box of its turned corners.
  void Rotate(float angleDegrees, const KPPointTemplate& center);
  // The origin this rectangle has when only its centre is turned.
  KPPointTemplate GetRotatedLocation(float angleDegrees, const KPPointTemplate& center) const;

  // The corner whose zone holds the point: a zone reaches `inside` into the rectangle and `outside` beyond,
  // its border excluded. Left wins over right, top over bottom.
  KPRectHandle GetHandle(const KPPointTemplate& point, float inside, float outside) const;
  // The origin for none.
  KPPointTemplate GetHandlePoint(KPRectHandle handle) const;
  // The point that stays where it is while the handle is dragged.
  KPPointTemplate GetOppositeHandlePoint(KPRectHandle handle) const;
  // Collapses the rectangle onto the edges that a drag of `handle` to `point` crosses, and returns the handle
  // that the drag goes on with.
  KPRectHandle ValidateMoveHandle(KPRectHandle handle, const KPPointTemplate& point);
  // Drags the handle to the point, across the opposite edges too. Return the handle that was dragged in the
  // end. A `ratio` of width to height is kept, unless it is not above zero and finite.
  KPRectHandle MoveHandle(KPRectHandle handle, const KPPointTemplate& point);
  KPRectHandle MoveHandle(KPRectHandle handle, const KPPointTemplate& point, float ratio);
  // Also stays inside `bounds`.
  KPRectHandle MoveHandle(KPRectHandle handle, const KPPointTemplate& point, float ratio,
                          const KPRectTemplate& bounds);
  // Writes the rectangle to the system log.
  void Log(const std::string& label) const;

 private:
  // As MoveHandle(), for a point that crosses no edge.
  void dragHandle(KPRectHandle handle, const KPPointTemplate& point);
  // The edge and the size change together, so that the opposite edge stays.
  void moveLeftEdge(float by);
  void moveTopEdge(float by);
  void moveRightEdge(float by) { size.width = static_cast<float>(size.width + by); }
  void moveBottomEdge(float by) { size.height = static_cast<float>(size.height + by); }
  void fitCornerInto(KPRectHandle handle, KPSizeTemplate excess);
  void fitMiddleTopOrBottomInto(KPRectHandle handle, const KPRectTemplate& room, float dh, float ratio);
  void fitMiddleLeftOrRightInto(KPRectHandle handle, const KPRectTemplate& room, KPSizeTemplate excess,
                                float ratio);
};
static_assert(sizeof(KPRectTemplate) == sizeof(CGRect));

}  // namespace vello
