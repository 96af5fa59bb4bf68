#include "source/parameters/KPVector3DParameterController.h"

#include "source/geometry/KPRectTemplate.h"
#include "source/parameters/vector_encoding.h"

namespace vello {

std::unique_ptr<KPVector3DParameterController> KPVector3DParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPVector3DParameterController>(std::move(filter), std::move(parameter));
}

void KPVector3DParameterController::initControls() {
  announcePositionControl();
  reset();
}

void KPVector3DParameterController::reset() {
  setPositionValue(KPRectTemplate(fImageBounds).ConstrainedPoint(positionValue()));
}

void KPVector3DParameterController::removingFilter() {
  withdrawPositionControl();
  KPGeometryParameterController::removingFilter();
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
