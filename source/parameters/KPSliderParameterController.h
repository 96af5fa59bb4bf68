// A number on a slider.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"

namespace vello {

class KPSliderParameterController : public KPCoreImageParameterController {
 public:
  static std::unique_ptr<KPSliderParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                          std::string parameter);
  KPSliderParameterController(std::shared_ptr<CIFilter> filter, std::string parameter)
      : KPCoreImageParameterController(std::move(filter), std::move(parameter), kSlowUpdateDelay) {}
};

}  // namespace vello
