#include "source/parameters/KPDialParameterController.h"

namespace vello {

std::unique_ptr<KPDialParameterController> KPDialParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter, Transformer editBoxTransformer,
    Transformer sliderTransformer) {
  return create<KPDialParameterController>(std::move(filter), std::move(parameter),
                                           std::move(editBoxTransformer), std::move(sliderTransformer));
}

}  // namespace vello
