// Pans the canvas inside its scroll view: the picture follows the hand.
#pragma once

#include "source/geometry/KPTracker.h"

namespace vello {

class KPPanTracker : public KPTracker {
 public:
  void mouseDown(const KPEvent& event) override { fLastPoint = event.locationInWindow; }
  void mouseDrag(const KPEvent& event) override;
  void mouseUp(const KPEvent& event) override { mouseDrag(event); }
  bool wantsAutoScroll() const override { return false; }

 private:
  CGPoint fLastPoint;  // window coordinates
};

}  // namespace vello
