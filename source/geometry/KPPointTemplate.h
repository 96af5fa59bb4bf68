// A point on the canvas. Kept in double precision like the platform's; arguments and results are single.
#pragma once

#include <string>

#include "platform/geometry.h"

namespace vello {

class KPPointTemplate : public CGPoint {
 public:
  KPPointTemplate() = default;
  KPPointTemplate(float px, float py) { Set(px, py); }
  KPPointTemplate(const CGPoint& point) : CGPoint(point) {}

  float x() const { return static_cast<float>(CGPoint::x); }
  float y() const { return static_cast<float>(CGPoint::y); }
  void Set(float px, float py) {
    SetX(px);
    SetY(py);
  }
  void SetX(float px) { CGPoint::x = px; }
  void SetY(float py) { CGPoint::y = py; }

  // Component by component, rounded to single.
  KPPointTemplate operator+(const KPPointTemplate& p) const;
  KPPointTemplate operator-(const KPPointTemplate& p) const;
  KPPointTemplate operator-() const;
  KPPointTemplate operator*(const KPPointTemplate& p) const;
  KPPointTemplate operator/(const KPPointTemplate& p) const;
  KPPointTemplate operator*(float factor) const { return *this * KPPointTemplate(factor, factor); }
  KPPointTemplate operator/(float divisor) const { return *this / KPPointTemplate(divisor, divisor); }
  // In double precision.
  KPPointTemplate& operator+=(const KPPointTemplate& p);
  KPPointTemplate& operator-=(const KPPointTemplate& p);

  float SquaredDistance(const KPPointTemplate& p) const;
  float Distance(const KPPointTemplate& p) const;
  // Closer than 0.0001 in both directions.
  bool MostlyEqual(const KPPointTemplate& p) const;
  void Floor();
  // Halves go up, below zero too.
  void Round();
  // About `center`; counterclockwise where y grows upwards.
  void Rotate(float angleDegrees, const KPPointTemplate& center);
  // The direction to `p` in degrees, in [0, 360); 0 for an equal point.
  float Angle(const KPPointTemplate& p) const;
  // Writes the point to the system log.
  void Log(const std::string& label) const;
};
static_assert(sizeof(KPPointTemplate) == sizeof(CGPoint));

// Component by component, in double precision.
inline CGPoint operator+(const CGPoint& a, const CGPoint& b) { return {a.x + b.x, a.y + b.y}; }
inline CGPoint operator-(const CGPoint& a, const CGPoint& b) { return {a.x - b.x, a.y - b.y}; }

}  // namespace vello
