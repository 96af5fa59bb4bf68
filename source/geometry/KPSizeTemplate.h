// A size on the canvas. Kept in double precision like the platform's; arguments and results are single.
#pragma once

#include "platform/geometry.h"

namespace vello {

class KPSizeTemplate : public CGSize {
 public:
  KPSizeTemplate() = default;
  KPSizeTemplate(float w, float h) : CGSize{w, h} {}
  KPSizeTemplate(const CGSize& size) : CGSize(size) {}

  float Width() const { return static_cast<float>(width); }
  float Height() const { return static_cast<float>(height); }
  void Set(float w, float h) { *this = KPSizeTemplate(w, h); }
  void SetWidth(float w) { width = w; }
  void SetHeight(float h) { height = h; }
};
static_assert(sizeof(KPSizeTemplate) == sizeof(CGSize));

}  // namespace vello
