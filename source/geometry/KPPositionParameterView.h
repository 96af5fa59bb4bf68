// A place in the picture as a handle on the canvas: a circle with a crosshair, and its title beside it.
#pragma once

#include "source/geometry/KPGeometryParameterView.h"
#include "source/geometry/KPPath.h"

namespace vello {

class KPPositionParameterView : public KPGeometryParameterView {
 public:
  KPPositionParameterView(std::string title, KPParameterViewOwner& controller);

  // Image space. A position that is not finite is refused with a log line.
  CGPoint position() const { return fPosition; }
  void setPosition(CGPoint position);
  void setTransform(const CGAffineTransform& transform) override;
  void setTitle(std::string title) override;

  // What is drawn, in this view's coordinates. The crosshair is dashed: one unit on, one off.
  const KPPath& handlePath() const { return fHandlePath; }
  const KPPath& crosshairPath() const { return fCrosshairPath; }

  // Only the handle's square is hit, not the title.
  KPView* hitTest(CGPoint point) override;
  CGPoint parameterLocation() const override { return toCanvas(fPosition); }
  void moveParameterTo(CGPoint point) override;
  std::unique_ptr<KPTracker> tracker(CGPoint mouseDownPoint) override;
  std::optional<KPCursor> mouseOverCursor(CGPoint) const override { return KPCursor::pointingHandCursor; }
  std::optional<KPCursor> mouseDownCursor(CGPoint) const override { return KPCursor::closedHandCursor; }

 protected:
  void showValue(const CIVector& value) override { setPosition({value.X(), value.Y()}); }
  CIVector shownValue() const override { return {fPosition.x, fPosition.y}; }

 private:
  void createHandle();
  void placeFrame();

  KPPath fHandlePath, fCrosshairPath;
  CGPoint fPosition;
};

}  // namespace vello
