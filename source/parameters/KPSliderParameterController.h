// A number on a slider, with an edit box.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"

namespace vello {

class KPSliderParameterController : public KPCoreImageParameterController {
 public:
  using Transformer = std::shared_ptr<const KPValueTransformer>;

  // Either transformer may be null: that control shows the number as the filter has it.
  static std::unique_ptr<KPSliderParameterController> controllerForFilter(
      std::shared_ptr<CIFilter> filter, std::string parameter, Transformer editBoxTransformer = nullptr,
      Transformer sliderTransformer = nullptr);
  KPSliderParameterController(std::shared_ptr<CIFilter> filter, std::string parameter,
                              Transformer editBoxTransformer, Transformer sliderTransformer);

  KPLabel& label() { return fLabel; }
  KPSlider& slider() { return fSlider; }
  KPEditBox& editBox() { return fEditBox; }

 protected:
  void initControls() override;

 private:
  double sliderEnd(std::optional<double> attribute, float otherwise) const;
  void initRanges();
  void applySpecialKeys();
  // A typed number outside the bounds becomes the nearest one; where they cross, the lower.
  Value validateValue(const Value& proposed) const;

  KPLabel fLabel;
  KPSlider fSlider;
  KPEditBox fEditBox;
  Transformer fEditBoxTransformer, fSliderTransformer;
  // What typed numbers are clamped to; not the slider's range.
  float fMaxValue = 65535, fMinValue = -65535;
};

}  // namespace vello
