// Moves a handle or a rectangle with the mouse.
#pragma once

#include "source/geometry/KPTracker.h"

namespace vello {

class KPGeometryParameterView;

class KPMoveTracker : public KPTracker {
 public:
  // The view must outlive the drag.
  explicit KPMoveTracker(KPGeometryParameterView& parameterView) : fParameterView(parameterView) {}
  void mouseDown(const KPEvent& event) override;
  void mouseDrag(const KPEvent& event) override;
  void mouseUp(const KPEvent& event) override;

 private:
  KPGeometryParameterView& fParameterView;
  // Canvas coordinates. Every place is computed from the start, so that no error adds up.
  CGPoint fStartOrigin, fStartPoint, fLastPoint;
};

}  // namespace vello
