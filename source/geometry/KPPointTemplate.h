// A point on the canvas. Kept in double precision like the platform's; arguments and results are single.
#pragma once

#include "platform/geometry.h"

namespace vello {

class KPPointTemplate : public CGPoint {
 public:
  KPPointTemplate() = default;
  KPPointTemplate(float px, float py) : CGPoint{px, py} {}
  KPPointTemplate(const CGPoint& point) : CGPoint(point) {}

  float x() const { return static_cast<float>(CGPoint::x); }
  float y() const { return static_cast<float>(CGPoint::y); }
  void Set(float px, float py) { *this = KPPointTemplate(px, py); }
  void SetX(float px) { CGPoint::x = px; }
  void SetY(float py) { CGPoint::y = py; }
};
static_assert(sizeof(KPPointTemplate) == sizeof(CGPoint));

}  // namespace vello
