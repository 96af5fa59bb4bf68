#include "source/parameters/KPColorParameterController.h"

#include "source/parameters/KPColorValueTransformer.h"

namespace vello {

std::unique_ptr<KPColorParameterController> KPColorParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPColorParameterController>(std::move(filter), std::move(parameter));
}

void KPColorParameterController::initControls() {
  fLabel.setDisplayLabel(labelText());
  bindControl(fColorWell, inputProperty(), {false, std::make_shared<KPColorValueTransformer>()});
  fOpacitySlider.setRange(0, 1);
  bindNumber(fOpacitySlider, &KPColorParameterController::opacity, &KPColorParameterController::setOpacity);
  fOpacityObservation = observeFilter();
}

void KPColorParameterController::removingFilter() {
  fOpacityObservation.close();
  KPCoreImageParameterController::removingFilter();
}

void KPColorParameterController::setValueFromDict(const PropertyListDictionary& dict, const CGRect&) {
  const PropertyList* entry = dict.find(fKey);
  if (entry && entry->string()) setFilterValue(CIColor::colorWithString(*entry->string()));
}

void KPColorParameterController::addValueToDict(PropertyListDictionary& dict, const CGRect&) const {
  if (const CIColor* color = filterValue().color()) dict.set(fKey, color->stringRepresentation());
}

float KPColorParameterController::opacity() const {
  const CIColor* color = filterValue().color();
  return color ? static_cast<float>(color->alpha()) : 0;
}

void KPColorParameterController::setOpacity(float opacity) {
  const CIColor* current = filterValue().color();
  const CIColor color = current ? *current : CIColor(0, 0, 0, 0);
  setFilterValue(CIColor(color.red(), color.green(), color.blue(), opacity));
}

}  // namespace vello
