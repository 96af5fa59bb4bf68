#include "source/parameters/KPRectParameterController.h"

#include "source/geometry/KPRectTemplate.h"
#include "source/parameters/vector_encoding.h"

namespace vello {

std::unique_ptr<KPRectParameterController> KPRectParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPRectParameterController>(std::move(filter), std::move(parameter));
}

void KPRectParameterController::initControls() {
  announcePositionControl();
  reset();
}

void KPRectParameterController::reset() {
  setRectValue(KPRectTemplate(fImageBounds).GetConstrainedRect(rectValue()));
}

void KPRectParameterController::removingFilter() {
  withdrawPositionControl();
  KPGeometryParameterController::removingFilter();
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
