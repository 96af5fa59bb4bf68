#include "source/parameters/KPVector3DParameterController.h"

#include "source/geometry/KPPositionParameterView.h"
#include "source/geometry/KPRectTemplate.h"
#include "source/parameters/vector_encoding.h"

namespace vello {

std::unique_ptr<KPVector3DParameterController> KPVector3DParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPVector3DParameterController>(std::move(filter), std::move(parameter));
}

void KPVector3DParameterController::initControls() {
  KPGeometryParameterController::initControls();
  initEditBoxes({&fEditBox_X, &fEditBox_Y, &fEditBox_Z});
  showOnCanvas(std::make_unique<KPPositionParameterView>(canvasTitle(), *this));
  reset();
  bindPosition([this] { return positionValue(); }, [this](CGPoint p) { setPositionValue(p); });
  using Self = KPVector3DParameterController;
  bindNumber(fEditBox_X, &Self::xValue, &Self::setXValue, &Self::wholeXInImage);
  bindNumber(fEditBox_Y, &Self::yValue, &Self::setYValue, &Self::wholeYInImage);
  bindNumber(fEditBox_Z, &Self::zValue, &Self::setZValue, &Self::wholeNumber);
}

void KPVector3DParameterController::reset() {
  setPositionValue(KPRectTemplate(fImageBounds).ConstrainedPoint(positionValue()));
}

CGPoint KPVector3DParameterController::positionValue() const { return pointValue(filterVector()); }

void KPVector3DParameterController::setPositionValue(CGPoint position) {
  setModelValue({position.x, position.y, zValue()});
}

void KPVector3DParameterController::observeValueForKeyPath(std::string_view keyPath) {
  if (!fMute && keyPath == fKey) setPositionValue(positionValue());
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
