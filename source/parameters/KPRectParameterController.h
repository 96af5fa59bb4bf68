// A rectangle in the image, in pixels, with handles over the canvas.
#pragma once

#include "source/parameters/KPGeometryParameterController.h"

namespace vello {

class KPRectParameterController : public KPGeometryParameterController {
 public:
  static std::unique_ptr<KPRectParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                        std::string parameter);
  using KPGeometryParameterController::KPGeometryParameterController;

  KPEditBox& editBoxX() { return fEditBox_X; }
  KPEditBox& editBoxY() { return fEditBox_Y; }
  KPEditBox& editBoxW() { return fEditBox_W; }
  KPEditBox& editBoxH() { return fEditBox_H; }

  // Clips the rectangle to the image; restores no default.
  void reset() override;

  CGRect rectValue() const;
  void setRectValue(const CGRect& rect);
  float xValue() const { return static_cast<float>(rectValue().origin.x); }
  float yValue() const { return static_cast<float>(rectValue().origin.y); }
  float widthValue() const { return static_cast<float>(rectValue().size.width); }
  float heightValue() const { return static_cast<float>(rectValue().size.height); }
  void setXValue(float x);
  void setYValue(float y);
  void setWidthValue(float width);
  void setHeightValue(float height);

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  KPEditBox fEditBox_X, fEditBox_Y, fEditBox_W, fEditBox_H;
};

}  // namespace vello
