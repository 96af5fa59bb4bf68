// A colour and its opacity. In a chain it is the colour's text.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"

namespace vello {

class KPColorParameterController : public KPCoreImageParameterController {
 public:
  static std::unique_ptr<KPColorParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                         std::string parameter);
  KPColorParameterController(std::shared_ptr<CIFilter> filter, std::string parameter)
      : KPCoreImageParameterController(std::move(filter), std::move(parameter), kSlowUpdateDelay) {}

  // Text sets the colour; anything else, and a missing entry, leaves it.
  void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect) override;
  void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const override;
  void removingFilter() override;

  KPLabel& label() { return fLabel; }
  KPColorWell& colorWell() { return fColorWell; }
  // 0..1.
  KPSlider& opacitySlider() { return fOpacitySlider; }
  // 0..1, the alpha of the filter's colour; 0 while it has none.
  float opacity() const;
  void setOpacity(float opacity);

 protected:
  void initControls() override;

 private:
  KPLabel fLabel;
  KPColorWell fColorWell;
  KPSlider fOpacitySlider;
  // The opacity's own observation of the input. It reaches the base too, so that one change of the colour
  // posts the change notification twice: what hosts and the preview see is to stay so.
  Connection fOpacityObservation;
};

}  // namespace vello
