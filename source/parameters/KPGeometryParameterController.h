// The base of the controllers whose value is a place or a rectangle in the image.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"
#include "source/parameters/parameter_view_controller.h"

namespace vello {

class KPGeometryParameterController : public KPCoreImageParameterController,
                                      public KPParameterViewControllerProtocol {
 public:
  KPGeometryParameterController(std::shared_ptr<CIFilter> filter, std::string parameter)
      : KPCoreImageParameterController(std::move(filter), std::move(parameter), kFastUpdateDelay) {}

  KPGeometryParameterView* geometryParameterView() const override { return nullptr; }
  void setImageBounds(const CGRect& bounds) override { fImageBounds = bounds; }

 protected:
  // The filter's vector; one without components while the input is nil.
  CIVector filterVector() const {
    const CIVector* vector = filterValue().vector();
    return vector ? *vector : CIVector();
  }
  // Writes the input as this controller's own doing: fMute tells observeValueForKeyPath not to write back.
  void setFilterValueMuted(Value value);

  CGRect fImageBounds;  // zero until the canvas has answered
  bool fMute = false;
};

}  // namespace vello
