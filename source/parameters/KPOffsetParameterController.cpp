#include "source/parameters/KPOffsetParameterController.h"

#include "source/parameters/vector_encoding.h"

namespace vello {

std::unique_ptr<KPOffsetParameterController> KPOffsetParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPOffsetParameterController>(std::move(filter), std::move(parameter));
}

void KPOffsetParameterController::initControls() {
  KPGeometryParameterController::initControls();
  initEditBoxes({&fEditBox_X, &fEditBox_Y});
  using Self = KPOffsetParameterController;
  bindNumber(fEditBox_X, &Self::xValue, &Self::setXValue, &Self::wholeNumber);
  bindNumber(fEditBox_Y, &Self::yValue, &Self::setYValue, &Self::wholeNumber);
}

CGPoint KPOffsetParameterController::modelValue() const { return pointValue(filterVector()); }

void KPOffsetParameterController::setModelValue(CGPoint value) {
  setFilterValueMuted(vectorWithPoint(value));
}

void KPOffsetParameterController::observeValueForKeyPath(std::string_view keyPath) {
  if (!fMute && keyPath == fKey) setModelValue(modelValue());
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
