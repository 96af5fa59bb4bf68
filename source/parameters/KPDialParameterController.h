// An angle that spans a full turn, on a dial.
#pragma once

#include "source/parameters/KPSliderParameterController.h"

namespace vello {

class KPDialParameterController : public KPSliderParameterController {
 public:
  static std::unique_ptr<KPDialParameterController> controllerForFilter(
      std::shared_ptr<CIFilter> filter, std::string parameter, Transformer editBoxTransformer = nullptr,
      Transformer sliderTransformer = nullptr);
  using KPSliderParameterController::KPSliderParameterController;
};

}  // namespace vello
