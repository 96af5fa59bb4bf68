#include "source/geometry/KPSizeTemplate.h"

#include <cmath>

#include "platform/log.h"
#include "source/geometry/log_text.h"

namespace vello {
namespace {

KPSizeTemplate single(double w, double h) { return {static_cast<float>(w), static_cast<float>(h)}; }

}  // namespace

KPSizeTemplate KPSizeTemplate::operator+(const KPSizeTemplate& s) const {
  return single(width + s.width, height + s.height);
}

KPSizeTemplate KPSizeTemplate::operator-(const KPSizeTemplate& s) const {
  return single(width - s.width, height - s.height);
}

KPSizeTemplate KPSizeTemplate::operator*(const KPSizeTemplate& s) const {
  return single(width * s.width, height * s.height);
}

KPSizeTemplate KPSizeTemplate::operator/(const KPSizeTemplate& s) const {
  return single(width / s.width, height / s.height);
}

void KPSizeTemplate::Round() { *this = single(std::floor(width + 0.5), std::floor(height + 0.5)); }

void KPSizeTemplate::Log(const std::string& label) const {
  logLine("KPSize (%@): width = %@, height = %@", {label, sixDecimals(width), sixDecimals(height)});
}

}  // namespace vello
