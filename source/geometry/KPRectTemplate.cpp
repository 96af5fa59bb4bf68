#include "source/geometry/KPRectTemplate.h"

#include <algorithm>
#include <cmath>

namespace vello {

KPRectTemplate::KPRectTemplate(const KPPointTemplate& a, const KPPointTemplate& b)
    : KPRectTemplate(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::fabs(a.x() - b.x()),
                     std::fabs(a.y() - b.y())) {}

KPPointTemplate KPRectTemplate::Center() const {
  return {static_cast<float>(origin.x + size.width / 2), static_cast<float>(origin.y + size.height / 2)};
}

void KPRectTemplate::CenterOn(float x, float y) {
  MoveTo(static_cast<float>(x - size.width / 2), static_cast<float>(y - size.height / 2));
}

void KPRectTemplate::SetLeft(float x) {
  size.width = static_cast<float>(size.width + (origin.x - x));
  origin.x = x;
}

void KPRectTemplate::SetTop(float y) {
  size.height = static_cast<float>(size.height + (origin.y - y));
  origin.y = y;
}

void KPRectTemplate::Inset(float dx, float dy) {
  *this =
      KPRectTemplate(static_cast<float>(origin.x + dx), static_cast<float>(origin.y + dy),
                     static_cast<float>(size.width - 2.0 * dx), static_cast<float>(size.height - 2.0 * dy));
}

bool KPRectTemplate::Contains(const KPPointTemplate& point) const {
  return Left() <= point.x() && point.x() <= Right() && Top() <= point.y() && point.y() <= Bottom();
}

bool KPRectTemplate::Contains(const KPRectTemplate& rect) const {
  return Contains(rect.TopLeft()) && Contains(rect.BottomRight());
}

void KPRectTemplate::Intersect(const KPRectTemplate& rect) {
  const float left = std::max(Left(), rect.Left()), top = std::max(Top(), rect.Top());
  const float right = std::min(Right(), rect.Right()), bottom = std::min(Bottom(), rect.Bottom());
  *this = KPRectTemplate(left, top, std::max(0.0f, right - left), std::max(0.0f, bottom - top));
}

KPRectTemplate KPRectTemplate::GetConstrainedRect(KPRectTemplate rect) const {
  if (Left() > rect.Left()) rect.SetLeft(Left());
  if (Left() > rect.Right()) rect.SetRight(Left());
  if (rect.Left() > Right()) rect.SetLeft(Right());
  if (rect.Right() > Right()) rect.SetRight(Right());
  if (Top() > rect.Top()) rect.SetTop(Top());
  if (Top() > rect.Bottom()) rect.SetBottom(Top());
  if (rect.Top() > Bottom()) rect.SetTop(Bottom());
  if (rect.Bottom() > Bottom()) rect.SetBottom(Bottom());
  return rect;
}

KPPointTemplate KPRectTemplate::ConstrainedPoint(KPPointTemplate point) const {
  if (point.x() < Left()) point.SetX(Left());
  if (point.x() > Right()) point.SetX(Right());
  if (point.y() < Top()) point.SetY(Top());
  if (point.y() > Bottom()) point.SetY(Bottom());
  return point;
}

}  // namespace vello
