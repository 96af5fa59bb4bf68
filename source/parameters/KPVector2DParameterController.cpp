#include "source/parameters/KPVector2DParameterController.h"

#include "source/geometry/KPPositionParameterView.h"
#include "source/geometry/KPRectTemplate.h"
#include "source/parameters/vector_encoding.h"

namespace vello {

std::unique_ptr<KPVector2DParameterController> KPVector2DParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPVector2DParameterController>(std::move(filter), std::move(parameter));
}

void KPVector2DParameterController::initControls() {
  KPGeometryParameterController::initControls();
  initEditBoxes({&fEditBox_X, &fEditBox_Y});
  showOnCanvas(std::make_unique<KPPositionParameterView>(canvasTitle(), *this));
  reset();
  bindPosition([this] { return positionValue(); }, [this](CGPoint p) { setPositionValue(p); });
  using Self = KPVector2DParameterController;
  bindNumber(fEditBox_X, &Self::xValue, &Self::setXValue, &Self::wholeXInImage);
  bindNumber(fEditBox_Y, &Self::yValue, &Self::setYValue, &Self::wholeYInImage);
}

void KPVector2DParameterController::reset() {
  setPositionValue(KPRectTemplate(fImageBounds).ConstrainedPoint(positionValue()));
}

CGPoint KPVector2DParameterController::positionValue() const { return pointValue(filterVector()); }

void KPVector2DParameterController::setPositionValue(CGPoint position) {
  setFilterValueMuted(vectorWithPoint(position));
}

void KPVector2DParameterController::observeValueForKeyPath(std::string_view keyPath) {
  if (!fMute && keyPath == fKey) setPositionValue(pointValue(filterVector()));
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
