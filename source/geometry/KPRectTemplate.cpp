#include "source/geometry/KPRectTemplate.h"

#include <algorithm>
#include <cmath>

#include "platform/log.h"
#include "source/geometry/log_text.h"

namespace vello {

KPRectTemplate::KPRectTemplate(const KPPointTemplate& a, const KPPointTemplate& b)
    : KPRectTemplate(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::fabs(a.x() - b.x()),
                     std::fabs(a.y() - b.y())) {}

KPPointTemplate KPRectTemplate::Center() const {
  return {static_cast<float>(origin.x + size.width / 2), static_cast<float>(origin.y + size.height / 2)};
}

void KPRectTemplate::MoveBy(float dx, float dy) {
  MoveTo(static_cast<float>(origin.x + dx), static_cast<float>(origin.y + dy));
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

void KPRectTemplate::Scale(float factor) {
  const float width = Width() * factor, height = Height() * factor;
  MoveBy(-(width - Width()) / 2, -(height - Height()) / 2);
  Resize(width, height);
}

void KPRectTemplate::Round() {
  KPPointTemplate corner = origin;
  KPSizeTemplate extent = size;
  corner.Round();
  extent.Round();
  origin = corner;
  size = extent;
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

KPRectTemplate KPRectTemplate::GetIntersection(const KPRectTemplate& rect) const {
  KPRectTemplate result = *this;
  result.Intersect(rect);
  return result;
}

void KPRectTemplate::Union(const KPRectTemplate& rect) {
  if (rect.IsEmpty() && !IsEmpty()) return;
  if (IsEmpty()) {
    *this = rect;
    return;
  }
  const KPRectTemplate before = *this;
  *this = KPRectTemplate(
      KPPointTemplate(std::min(before.Left(), rect.Left()), std::min(before.Top(), rect.Top())),
      KPPointTemplate(std::max(before.Right(), rect.Right()), std::max(before.Bottom(), rect.Bottom())));
}

KPRectTemplate KPRectTemplate::GetUnion(const KPRectTemplate& rect) const {
  KPRectTemplate result = *this;
  result.Union(rect);
  return result;
}

void KPRectTemplate::Expand(const KPPointTemplate& point) {
  if (Left() > point.x())
    SetLeft(point.x());
  else if (point.x() > Right())
    SetRight(point.x());
  if (Top() > point.y())
    SetTop(point.y());
  else if (point.y() > Bottom())
    SetBottom(point.y());
}

namespace {

// A flat strip between two edges at heights a and b, as wide as both rectangles.
KPRectTemplate flatStrip(const KPRectTemplate& r, const KPRectTemplate& s, float a, float b) {
  if (a == b) return {};
  const float left = std::min(r.Left(), s.Left());
  return {left, std::min(a, b), std::max(r.Right(), s.Right()) - left, std::fabs(a - b)};
}

KPRectTemplate uprightStrip(const KPRectTemplate& r, const KPRectTemplate& s, float a, float b) {
  if (a == b) return {};
  const float top = std::min(r.Top(), s.Top());
  return {std::min(a, b), top, std::fabs(a - b), std::max(r.Bottom(), s.Bottom()) - top};
}

}  // namespace

KPRectTemplate KPRectTemplate::TopDifference(const KPRectTemplate& rect) const {
  return flatStrip(*this, rect, Top(), rect.Top());
}

KPRectTemplate KPRectTemplate::BottomDifference(const KPRectTemplate& rect) const {
  return flatStrip(*this, rect, Bottom(), rect.Bottom());
}

KPRectTemplate KPRectTemplate::LeftDifference(const KPRectTemplate& rect) const {
  return uprightStrip(*this, rect, Left(), rect.Left());
}

KPRectTemplate KPRectTemplate::RightDifference(const KPRectTemplate& rect) const {
  return uprightStrip(*this, rect, Right(), rect.Right());
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

bool KPRectTemplate::CenterInRect(const KPRectTemplate& rect) {
  CenterOn(rect.Center());
  const bool fits = Left() >= 0 && Top() >= 0;
  MoveTo(std::max(0.0f, Left()), std::max(0.0f, Top()));
  return fits;
}

void KPRectTemplate::Rotate(float angleDegrees, const KPPointTemplate& center) {
  KPPointTemplate corners[] = {TopLeft(), TopRight(), BottomLeft(), BottomRight()};
  for (KPPointTemplate& corner : corners) corner.Rotate(angleDegrees, center);
  *this = KPRectTemplate(corners[0], corners[0]);
  for (const KPPointTemplate& corner : corners) Expand(corner);
}

KPPointTemplate KPRectTemplate::GetRotatedLocation(float angleDegrees, const KPPointTemplate& center) const {
  KPPointTemplate turned = Center();
  turned.Rotate(angleDegrees, center);
  return Origin() + (turned - Center());
}

void KPRectTemplate::Log(const std::string& label) const {
  logLine("KPRect (%@): x = %@, y = %@, w = %@, h = %@", {label, sixDecimals(origin.x), sixDecimals(origin.y),
                                                          sixDecimals(size.width), sixDecimals(size.height)});
}

}  // namespace vello
