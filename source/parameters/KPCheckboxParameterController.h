// A yes or no.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"

namespace vello {

class KPCheckboxParameterController : public KPCoreImageParameterController {
 public:
  static std::unique_ptr<KPCheckboxParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                            std::string parameter);
  KPCheckboxParameterController(std::shared_ptr<CIFilter> filter, std::string parameter)
      : KPCoreImageParameterController(std::move(filter), std::move(parameter), kFastUpdateDelay) {}

  KPCheckbox& checkbox() { return fCheckbox; }

 protected:
  void initControls() override;

 private:
  KPCheckbox fCheckbox;
};

}  // namespace vello
