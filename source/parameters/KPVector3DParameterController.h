// A position in space: x and y in the image's pixels with a handle over the canvas, z free.
#pragma once

#include "source/parameters/KPGeometryParameterController.h"

namespace vello {

class KPVector3DParameterController : public KPGeometryParameterController {
 public:
  static std::unique_ptr<KPVector3DParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                            std::string parameter);
  using KPGeometryParameterController::KPGeometryParameterController;

  KPEditBox& editBoxX() { return fEditBox_X; }
  KPEditBox& editBoxY() { return fEditBox_Y; }
  KPEditBox& editBoxZ() { return fEditBox_Z; }

  // Moves the position to the nearest point inside the image; restores no default.
  void reset() override;

  CGPoint positionValue() const;
  // Keeps z.
  void setPositionValue(CGPoint position);
  float xValue() const { return component(0); }
  float yValue() const { return component(1); }
  float zValue() const { return component(2); }
  void setXValue(float x) { setModelValue({x, yValue(), zValue()}); }
  void setYValue(float y) { setModelValue({xValue(), y, zValue()}); }
  void setZValue(float z) { setModelValue({xValue(), yValue(), z}); }

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  float component(int index) const { return static_cast<float>(filterVector().valueAtIndex(index)); }
  void setModelValue(CIVector value) { setFilterValueMuted(std::move(value)); }

  KPEditBox fEditBox_X, fEditBox_Y, fEditBox_Z;
};

}  // namespace vello
