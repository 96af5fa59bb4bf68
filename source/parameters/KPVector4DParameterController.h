// Four numbers, taken as they are.
#pragma once

#include "source/parameters/KPGeometryParameterController.h"

namespace vello {

class KPVector4DParameterController : public KPGeometryParameterController {
 public:
  static std::unique_ptr<KPVector4DParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                            std::string parameter);
  using KPGeometryParameterController::KPGeometryParameterController;

  KPEditBox& editBoxX() { return fEditBox_X; }
  KPEditBox& editBoxY() { return fEditBox_Y; }
  KPEditBox& editBoxZ() { return fEditBox_Z; }
  KPEditBox& editBoxW() { return fEditBox_W; }

  float xValue() const { return component(0); }
  float yValue() const { return component(1); }
  float zValue() const { return component(2); }
  float wValue() const { return component(3); }
  void setXValue(float x) { setModelValue({x, yValue(), zValue(), wValue()}); }
  void setYValue(float y) { setModelValue({xValue(), y, zValue(), wValue()}); }
  void setZValue(float z) { setModelValue({xValue(), yValue(), z, wValue()}); }
  void setWValue(float w) { setModelValue({xValue(), yValue(), zValue(), w}); }

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  float component(int index) const { return static_cast<float>(filterVector().valueAtIndex(index)); }
  void setModelValue(CIVector value) { setFilterValueMuted(std::move(value)); }

  KPEditBox fEditBox_X, fEditBox_Y, fEditBox_Z, fEditBox_W;
};

}  // namespace vello
