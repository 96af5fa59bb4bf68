#include "source/parameters/KPSliderParameterController.h"

#include <algorithm>

namespace vello {
namespace {

constexpr double kLowestEpsilon = -2;  // whatever the input's attributes say
constexpr float kLowestScale = 0.05f;  // in place of 0, at which nothing is left of a picture
constexpr float kLargestBlurRadius = 100;
constexpr const char* kWholeNegativeFormat = "-#,##0";

bool isBlur(const FilterAttributes& filter) {
  return filter.isInCategory("CICategoryBlur") || filter.name == "CIEdgeWork";
}

}  // namespace

std::unique_ptr<KPSliderParameterController> KPSliderParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter, Transformer editBoxTransformer,
    Transformer sliderTransformer) {
  return create<KPSliderParameterController>(std::move(filter), std::move(parameter),
                                             std::move(editBoxTransformer), std::move(sliderTransformer));
}

KPSliderParameterController::KPSliderParameterController(std::shared_ptr<CIFilter> filter,
                                                         std::string parameter,
                                                         Transformer editBoxTransformer,
                                                         Transformer sliderTransformer)
    : KPCoreImageParameterController(std::move(filter), std::move(parameter), kSlowUpdateDelay),
      fEditBoxTransformer(std::move(editBoxTransformer)),
      fSliderTransformer(std::move(sliderTransformer)) {}

void KPSliderParameterController::initControls() {
  fLabel.setDisplayLabel(labelText());
  initEditBoxes({&fEditBox});
  initRanges();
  KPProperty typed = inputProperty();
  typed.validate = [this](const Value& proposed) { return validateValue(proposed); };
  bindControl(fEditBox, std::move(typed), {true, fEditBoxTransformer});
  bindControl(fSlider, inputProperty(), {false, fSliderTransformer});
  applySpecialKeys();
}

void KPSliderParameterController::initRanges() {
  const InputAttributes& input = inputAttributes();
  const std::optional<double> sliderMin = fKey == "inputEpsilon" ? kLowestEpsilon : input.sliderMin;
  fMaxValue = static_cast<float>(input.max.value_or(input.sliderMax.value_or(fMaxValue)));
  fMinValue = static_cast<float>(input.min.value_or(sliderMin.value_or(fMinValue)));
  const double upper = sliderEnd(input.sliderMax ? input.sliderMax : input.max, fMaxValue);
  const double lower = sliderEnd(sliderMin ? sliderMin : input.min, fMinValue);
  // A transformer may turn the direction round.
  fSlider.setRange(std::min(lower, upper), std::max(lower, upper));
}

double KPSliderParameterController::sliderEnd(std::optional<double> attribute, float otherwise) const {
  if (!attribute) return otherwise;
  return fSliderTransformer ? fSliderTransformer->transformedValue(*attribute).number() : *attribute;
}

void KPSliderParameterController::applySpecialKeys() {
  // Only below zero: numbers above it are shown with their decimals like all others.
  if (fKey == "inputLevels" || fKey == "inputCount") fEditBox.setNegativeFormat(kWholeNegativeFormat);
  if (fKey == "inputScale" && fMinValue == 0) fMinValue = kLowestScale;
  if (fKey == "inputRadius" && isBlur(fFilter->attributes())) fMaxValue = kLargestBlurRadius;
}

Value KPSliderParameterController::validateValue(const Value& proposed) const {
  return std::max(std::min(proposed.floatValue(), fMaxValue), fMinValue);
}

}  // namespace vello
