// A rectangle on the canvas. Top is the edge at the smaller y, whichever way up the view is drawn.
//
// Kept in double precision like the platform's; every argument and result is single, and what is stored has
// been rounded to single once. Sums are formed in double before that, so that the difference of two huge
// edges is no NaN.
#pragma once

#include "source/geometry/KPPointTemplate.h"
#include "source/geometry/KPSizeTemplate.h"

namespace vello {

class KPRectTemplate : public CGRect {
 public:
  KPRectTemplate() = default;
  KPRectTemplate(float x, float y, float width, float height) : CGRect{{x, y}, {width, height}} {}
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
  void CenterOn(float x, float y);
  void CenterOn(const KPPointTemplate& point) { CenterOn(point.x(), point.y()); }
  // These keep the opposite edge.
  void SetLeft(float x);
  void SetTop(float y);
  void SetRight(float x) { size.width = static_cast<float>(x - origin.x); }
  void SetBottom(float y) { size.height = static_cast<float>(y - origin.y); }
  void Inset(float dx, float dy);

  bool IsEmpty() const { return Width() <= 0 || Height() <= 0; }
  // All four edges belong to the rectangle.
  bool Contains(const KPPointTemplate& point) const;
  bool Contains(const KPRectTemplate& rect) const;
  // Width and height of the result are never negative.
  void Intersect(const KPRectTemplate& rect);

  // `rect` clipped to this one edge by edge. It may come out with zero size, but never lies outside.
  KPRectTemplate GetConstrainedRect(KPRectTemplate rect) const;
  // The point of this rectangle nearest to `point`.
  KPPointTemplate ConstrainedPoint(KPPointTemplate point) const;
};
static_assert(sizeof(KPRectTemplate) == sizeof(CGRect));

}  // namespace vello
