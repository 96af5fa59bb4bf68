#include "source/parameters/KPRectParameterController.h"

#include <cmath>

#include "source/geometry/KPRectParameterView.h"
#include "source/parameters/vector_encoding.h"

namespace vello {
namespace {

// Not clamped: a rectangle may leave the image.
Value wholeRect(const Value& proposed) {
  std::vector<double> values = proposed.vector()->values();
  for (double& value : values) value = std::round(value);
  return CIVector(std::move(values));
}

}  // namespace

std::unique_ptr<KPRectParameterController> KPRectParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPRectParameterController>(std::move(filter), std::move(parameter));
}

void KPRectParameterController::initControls() {
  KPGeometryParameterController::initControls();
  initEditBoxes({&fEditBox_X, &fEditBox_Y, &fEditBox_W, &fEditBox_H});
  showOnCanvas(std::make_unique<KPRectParameterView>(canvasTitle(), false, *this));
  reset();
  KPProperty rectangle = property([this] { return Value(vectorWithRect(rectValue())); },
                                  [this](const Value& v) { setRectValue(vello::rectValue(*v.vector())); });
  rectangle.validate = wholeRect;
  geometryParameterView()->bind(std::move(rectangle));
  using Self = KPRectParameterController;
  bindNumber(fEditBox_X, &Self::xValue, &Self::setXValue, &Self::wholeNumber);
  bindNumber(fEditBox_Y, &Self::yValue, &Self::setYValue, &Self::wholeNumber);
  bindNumber(fEditBox_W, &Self::widthValue, &Self::setWidthValue, &Self::wholeNumber);
  bindNumber(fEditBox_H, &Self::heightValue, &Self::setHeightValue, &Self::wholeNumber);
}

void KPRectParameterController::reset() {
  setRectValue(KPRectTemplate(fImageBounds).GetConstrainedRect(rectValue()));
}

CGRect KPRectParameterController::rectValue() const { return vello::rectValue(filterVector()); }

void KPRectParameterController::setRectValue(const CGRect& rect) {
  setFilterValueMuted(vectorWithRect(rect));
}

void KPRectParameterController::setXValue(float x) {
  CGRect rect = rectValue();
  rect.origin.x = x;
  setRectValue(rect);
}

void KPRectParameterController::setYValue(float y) {
  CGRect rect = rectValue();
  rect.origin.y = y;
  setRectValue(rect);
}

void KPRectParameterController::setWidthValue(float width) {
  CGRect rect = rectValue();
  rect.size.width = width;
  setRectValue(rect);
}

void KPRectParameterController::setHeightValue(float height) {
  CGRect rect = rectValue();
  rect.size.height = height;
  setRectValue(rect);
}

void KPRectParameterController::observeValueForKeyPath(std::string_view keyPath) {
  if (!fMute && keyPath == fKey) setRectValue(rectValue());
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
