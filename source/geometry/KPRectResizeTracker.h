// Resizes a rectangle by one of its handles. Shift reverses whether the ratio is kept.
#pragma once

#include "source/geometry/KPRectTemplate.h"
#include "source/geometry/KPTracker.h"

namespace vello {

class KPRectParameterView;

class KPRectResizeTracker : public KPTracker {
 public:
  // The view must outlive the drag. `constrainingRect`: canvas coordinates; empty constrains nothing.
  KPRectResizeTracker(KPRectParameterView& parameterView, KPRectHandle handle, bool keepAspectRatio,
                      float aspectRatio, const KPRectTemplate& constrainingRect);
  void setConstrainRect(const KPRectTemplate& rect) { fConstrainingRect = rect; }
  void mouseDown(const KPEvent& event) override;
  void mouseDrag(const KPEvent& event) override;
  void mouseUp(const KPEvent& event) override;

 private:
  void moveHandleTo(const KPPointTemplate& point, bool keepAspectRatio);

  KPRectParameterView& fParameterView;
  KPRectHandle fRectHandle;
  // Canvas coordinates. Every event starts again from the bounds at mouse-down, so that no error adds up and
  // crossing over is undone when the mouse comes back.
  KPPointTemplate fStartingMousePoint, fStartingHandlePoint, fLastMousePoint;
  KPRectTemplate fStartingBounds, fCurrentBounds;
  bool fKeepAspectRatio;  // the view's default
  float fAspectRatio;     // width / height
  KPRectTemplate fConstrainingRect;
  bool fShiftKeyDown = false;
};

}  // namespace vello
