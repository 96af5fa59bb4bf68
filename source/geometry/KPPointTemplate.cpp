#include "source/geometry/KPPointTemplate.h"

#include <algorithm>
#include <cmath>

#include "platform/log.h"
#include "source/geometry/log_text.h"

namespace vello {
namespace {

KPPointTemplate single(double x, double y) { return {static_cast<float>(x), static_cast<float>(y)}; }

struct Turn {
  float angleDegrees = 0, sine = 0, cosine = 1;
};

// A rectangle turns its four corners by one angle, so the last one is kept.
const Turn& turnBy(float angleDegrees) {
  thread_local Turn last;
  if (angleDegrees != last.angleDegrees) {  // also for an angle that is no number
    const float radians = angleDegrees * 0.017453292f;
    last = {angleDegrees, std::sin(radians), std::cos(radians)};
  }
  return last;
}

}  // namespace

KPPointTemplate KPPointTemplate::operator+(const KPPointTemplate& p) const {
  return single(CGPoint::x + p.CGPoint::x, CGPoint::y + p.CGPoint::y);
}

KPPointTemplate KPPointTemplate::operator-(const KPPointTemplate& p) const {
  return single(CGPoint::x - p.CGPoint::x, CGPoint::y - p.CGPoint::y);
}

KPPointTemplate KPPointTemplate::operator-() const { return {-x(), -y()}; }

KPPointTemplate KPPointTemplate::operator*(const KPPointTemplate& p) const {
  return single(CGPoint::x * p.CGPoint::x, CGPoint::y * p.CGPoint::y);
}

KPPointTemplate KPPointTemplate::operator/(const KPPointTemplate& p) const {
  return single(CGPoint::x / p.CGPoint::x, CGPoint::y / p.CGPoint::y);
}

KPPointTemplate& KPPointTemplate::operator+=(const KPPointTemplate& p) {
  CGPoint::x += p.CGPoint::x;
  CGPoint::y += p.CGPoint::y;
  return *this;
}

KPPointTemplate& KPPointTemplate::operator-=(const KPPointTemplate& p) {
  CGPoint::x -= p.CGPoint::x;
  CGPoint::y -= p.CGPoint::y;
  return *this;
}

float KPPointTemplate::SquaredDistance(const KPPointTemplate& p) const {
  const float dx = p.x() - x(), dy = p.y() - y();
  return dx * dx + dy * dy;
}

float KPPointTemplate::Distance(const KPPointTemplate& p) const { return std::sqrt(SquaredDistance(p)); }

bool KPPointTemplate::MostlyEqual(const KPPointTemplate& p) const {
  return std::fabs(p.x() - x()) < 0.0001f && std::fabs(p.y() - y()) < 0.0001f;
}

void KPPointTemplate::Floor() { Set(std::floor(x()), std::floor(y())); }

void KPPointTemplate::Round() { *this = single(std::floor(CGPoint::x + 0.5), std::floor(CGPoint::y + 0.5)); }

void KPPointTemplate::Rotate(float angleDegrees, const KPPointTemplate& center) {
  const Turn& turn = turnBy(angleDegrees);
  const float dx = x() - center.x(), dy = y() - center.y();
  Set(turn.cosine * dx - turn.sine * dy + center.x(), turn.sine * dx + turn.cosine * dy + center.y());
}

float KPPointTemplate::Angle(const KPPointTemplate& p) const {
  const float distance = Distance(p);
  if (distance == 0) return 0;  // equal, or too close for a direction
  const float sine = std::clamp((p.y() - y()) / distance, -1.0f, 1.0f);
  const float angle = std::asin(sine) * 180.0f / 3.14159265f;
  if (x() > p.x()) return 180 - angle;
  if (y() <= p.y()) return angle;
  return angle + 360 < 360 ? angle + 360 : 0;
}

void KPPointTemplate::Log(const std::string& label) const {
  logLine("KPPoint (%@): x = %@, y = %@", {label, sixDecimals(CGPoint::x), sixDecimals(CGPoint::y)});
}

}  // namespace vello
