#include "source/parameters/KPSliderParameterController.h"

namespace vello {

std::unique_ptr<KPSliderParameterController> KPSliderParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPSliderParameterController>(std::move(filter), std::move(parameter));
}

}  // namespace vello
