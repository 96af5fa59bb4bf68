// A size on the canvas. Kept in double precision like the platform's; arguments and results are single.
#pragma once

#include <string>

#include "platform/geometry.h"

namespace vello {

class KPSizeTemplate : public CGSize {
 public:
  KPSizeTemplate() = default;
  KPSizeTemplate(float w, float h) { Set(w, h); }
  KPSizeTemplate(const CGSize& size) : CGSize(size) {}

  float Width() const { return static_cast<float>(width); }
  float Height() const { return static_cast<float>(height); }
  void Set(float w, float h) {
    SetWidth(w);
    SetHeight(h);
  }
  void SetWidth(float w) { width = w; }
  void SetHeight(float h) { height = h; }

  // Component by component, rounded to single.
  KPSizeTemplate operator+(const KPSizeTemplate& s) const;
  KPSizeTemplate operator-(const KPSizeTemplate& s) const;
  KPSizeTemplate operator*(const KPSizeTemplate& s) const;
  KPSizeTemplate operator/(const KPSizeTemplate& s) const;
  KPSizeTemplate operator*(float factor) const { return *this * KPSizeTemplate(factor, factor); }
  KPSizeTemplate operator/(float divisor) const { return *this / KPSizeTemplate(divisor, divisor); }
  KPSizeTemplate& operator+=(const KPSizeTemplate& s) { return *this = *this + s; }
  KPSizeTemplate& operator-=(const KPSizeTemplate& s) { return *this = *this - s; }

  // Halves go up, below zero too.
  void Round();
  // Writes the size to the system log.
  void Log(const std::string& label) const;
};
static_assert(sizeof(KPSizeTemplate) == sizeof(CGSize));

}  // namespace vello
