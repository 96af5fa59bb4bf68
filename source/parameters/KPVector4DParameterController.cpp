#include "source/parameters/KPVector4DParameterController.h"

namespace vello {

std::unique_ptr<KPVector4DParameterController> KPVector4DParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPVector4DParameterController>(std::move(filter), std::move(parameter));
}

void KPVector4DParameterController::observeValueForKeyPath(std::string_view keyPath) {
  // The whole vector, nil included: it is written back as it stands.
  if (!fMute && keyPath == fKey) setFilterValueMuted(filterValue());
  KPGeometryParameterController::observeValueForKeyPath(keyPath);
}

}  // namespace vello
