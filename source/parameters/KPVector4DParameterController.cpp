#include "source/parameters/KPVector4DParameterController.h"

namespace vello {

std::unique_ptr<KPVector4DParameterController> KPVector4DParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPVector4DParameterController>(std::move(filter), std::move(parameter));
}

void KPVector4DParameterController::initControls() {
  KPGeometryParameterController::initControls();
  initEditBoxes({&fEditBox_X, &fEditBox_Y, &fEditBox_Z, &fEditBox_W});
  using Self = KPVector4DParameterController;
  bindNumber(fEditBox_X, &Self::xValue, &Self::setXValue);
  bindNumber(fEditBox_Y, &Self::yValue, &Self::setYValue);
  bindNumber(fEditBox_Z, &Self::zValue, &Self::setZValue);
  bindNumber(fEditBox_W, &Self::wValue, &Self::setWValue);
}

void KPVector4DParameterController::observeValueForKeyPath(std::string_view keyPath) {
  // The whole vector, nil included: it is written back as it stands.
  if (!fMute && keyPath == fKey) setFilterValueMuted(filterValue());
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
