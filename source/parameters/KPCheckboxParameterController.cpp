#include "source/parameters/KPCheckboxParameterController.h"

namespace vello {

std::unique_ptr<KPCheckboxParameterController> KPCheckboxParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPCheckboxParameterController>(std::move(filter), std::move(parameter));
}

void KPCheckboxParameterController::initControls() {
  fCheckbox.setTitle(inputAttributes().displayName);
  bindControl(fCheckbox, inputProperty());
}

}  // namespace vello
