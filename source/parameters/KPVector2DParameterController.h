// A position in the image, in pixels, with a handle over the canvas.
#pragma once

#include "source/parameters/KPGeometryParameterController.h"

namespace vello {

class KPVector2DParameterController : public KPGeometryParameterController {
 public:
  static std::unique_ptr<KPVector2DParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                            std::string parameter);
  using KPGeometryParameterController::KPGeometryParameterController;

  KPEditBox& editBoxX() { return fEditBox_X; }
  KPEditBox& editBoxY() { return fEditBox_Y; }

  // Moves the position to the nearest point inside the image; restores no default.
  void reset() override;

  virtual CGPoint positionValue() const;
  virtual void setPositionValue(CGPoint position);
  float xValue() const { return static_cast<float>(positionValue().x); }
  float yValue() const { return static_cast<float>(positionValue().y); }
  void setXValue(float x) { setPositionValue({x, yValue()}); }
  void setYValue(float y) { setPositionValue({xValue(), y}); }

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

  KPEditBox fEditBox_X, fEditBox_Y;
};

}  // namespace vello
