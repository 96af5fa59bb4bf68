// A distance in x and y, in pixels. It may point anywhere.
#pragma once

#include "source/parameters/KPGeometryParameterController.h"

namespace vello {

class KPOffsetParameterController : public KPGeometryParameterController {
 public:
  static std::unique_ptr<KPOffsetParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                          std::string parameter);
  using KPGeometryParameterController::KPGeometryParameterController;

  KPEditBox& editBoxX() { return fEditBox_X; }
  KPEditBox& editBoxY() { return fEditBox_Y; }

  float xValue() const { return static_cast<float>(modelValue().x); }
  float yValue() const { return static_cast<float>(modelValue().y); }
  void setXValue(float x) { setModelValue({x, yValue()}); }
  void setYValue(float y) { setModelValue({xValue(), y}); }

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  CGPoint modelValue() const;
  void setModelValue(CGPoint value);

  KPEditBox fEditBox_X, fEditBox_Y;
};

}  // namespace vello
