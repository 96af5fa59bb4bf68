#include "source/parameters/KPTransformParameterController.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "source/parameters/number_rounding.h"
#include "source/parameters/scoped_value.h"
#include "source/screen/KPLocalizedString.h"

namespace vello {
namespace {

constexpr const char* kOriginLabelKey = "kKPImageFilter_OriginParameterLabel";
constexpr float kMinScale = 0.001f, kMaxScale = 5;
constexpr float kMinClampScale = 0.5f;  // repeated edges of a picture smaller than that fill the view
constexpr float kFullTurn = 360, kMaxSkew = 90;  // degrees

double radians(double degrees) { return degrees * std::numbers::pi / 180; }

// Exact at the quarter turns, so that a full turn is the identity.
CGAffineTransform rotationByDegrees(double degrees) {
  const double quarters = degrees / 90;
  double cosine = std::cos(radians(degrees)), sine = std::sin(radians(degrees));
  if (std::trunc(quarters) == quarters) {
    cosine = std::round(cosine);
    sine = std::round(sine);
  }
  return {cosine, sine, -sine, cosine, 0, 0};
}

float numberIn(const PropertyListDictionary& values, std::string_view key) {
  const PropertyList* entry = values.find(key);
  return entry ? static_cast<float>(entry->number()) : 0;
}

double single(double v) { return static_cast<float>(v); }

}  // namespace

std::unique_ptr<KPTransformParameterController> KPTransformParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPTransformParameterController>(std::move(filter), std::move(parameter));
}

KPTransformParameterController::KPTransformParameterController(std::shared_ptr<CIFilter> filter,
                                                               std::string parameter)
    : KPVector2DParameterController(std::move(filter), std::move(parameter)),
      fMinScale(fFilter->name() == "CIAffineClamp" ? kMinClampScale : kMinScale) {}

void KPTransformParameterController::initControls() {
  KPVector2DParameterController::initControls();
  initTransformControls();
  reset();
}

void KPTransformParameterController::initTransformControls() {
  const std::string origin = KPLocalizedString(kOriginLabelKey);
  fLabel.setText(origin);
  geometryParameterView()->setTitle(canvasTitle(origin));
  initEditBoxes(
      {&fEditBox_X, &fEditBox_Y, &fScaleEditBox_X, &fScaleEditBox_Y, &fRotateEditBox, &fSkewEditBox});
  for (KPSlider* slider : {&fScaleSlider_X, &fScaleSlider_Y}) slider->setRange(fMinScale, kMaxScale);
  fRotateSlider.setRange(0, kFullTurn);
  fSkewSlider.setRange(-kMaxSkew, kMaxSkew);
  using Self = KPTransformParameterController;
  bindBoth(fScaleSlider_X, fScaleEditBox_X, &Self::xScale, &Self::setXScale, &Self::validateScale);
  bindBoth(fScaleSlider_Y, fScaleEditBox_Y, &Self::yScale, &Self::setYScale, &Self::validateScale);
  bindBoth(fRotateSlider, fRotateEditBox, &Self::rotation, &Self::setRotation, &Self::validateRotation);
  bindBoth(fSkewSlider, fSkewEditBox, &Self::skew, &Self::setSkew, &Self::validateSkew);
}

Value KPTransformParameterController::validateScale(float scale) const {
  return roundedWithin(scale, fMinScale, kMaxScale);
}

Value KPTransformParameterController::validateRotation(float degrees) const {
  return roundedWithin(degrees, 0, kFullTurn);
}

Value KPTransformParameterController::validateSkew(float degrees) const {
  return roundedWithin(degrees, -kMaxSkew, kMaxSkew);
}

Value KPTransformParameterController::roundedWithin(float value, float from, float to) const {
  return numberWithFloat(std::min(std::max(value, from), to), kMaxFractionalDigits);
}

void KPTransformParameterController::reset() {
  setPositionValue({0, 0});
  setXScale(1);
  setYScale(1);
  setRotation(0);
  setSkew(0);
}

void KPTransformParameterController::setPositionValue(CGPoint position) {
  fTranslate_X = static_cast<float>(position.x);
  fTranslate_Y = static_cast<float>(position.y);
  setModelTransform();
}

void KPTransformParameterController::setXScale(float scale) {
  fScale_X = scale;
  setModelTransform();
}

void KPTransformParameterController::setYScale(float scale) {
  fScale_Y = scale;
  setModelTransform();
}

void KPTransformParameterController::setStoredRotation(float degrees) {
  fRotation = degrees;
  setModelTransform();
}

void KPTransformParameterController::setSkew(float degrees) {
  fSkew = degrees;
  setModelTransform();
}

// A point is rotated first, then scaled, then translated, and sheared last: the shear also acts on the
// translation. The shear factor is the skew angle itself, not its tangent.
void KPTransformParameterController::setModelTransform() {
  const CGAffineTransform translation{1, 0, 0, 1, fTranslate_X, fTranslate_Y};
  const CGAffineTransform scale{fScale_X, 0, 0, fScale_Y, 0, 0};
  const CGAffineTransform shear{1, 0, radians(fSkew), 1, 0, 0};
  CGAffineTransform transform = CGAffineTransformConcat(scale, translation);
  transform = CGAffineTransformConcat(transform, shear);
  setFilterValueMuted(CGAffineTransformConcat(rotationByDegrees(fRotation), transform));
}

void KPTransformParameterController::observeValueForKeyPath(std::string_view keyPath) {
  // The input is no point: the position's write-back must not happen.
  const ScopedValue mute(fMute, true);
  KPVector2DParameterController::observeValueForKeyPath(keyPath);
}

void KPTransformParameterController::addValueToDict(PropertyListDictionary& dict,
                                                    const CGRect& imageRect) const {
  PropertyListDictionary values;
  values.set("tx", single((fTranslate_X - imageRect.origin.x) / imageRect.size.width));
  values.set("ty", single((fTranslate_Y - imageRect.origin.y) / imageRect.size.height));
  values.set("sx", double{fScale_X});
  values.set("sy", double{fScale_Y});
  values.set("r", double{fRotation});
  values.set("sk", double{fSkew});
  dict.set(fKey, std::move(values));
}

void KPTransformParameterController::setValueFromDict(const PropertyListDictionary& dict,
                                                      const CGRect& imageRect) {
  const PropertyList* entry = dict.find(fKey);
  if (!entry) return;
  const PropertyListDictionary values = entry->dictionary() ? *entry->dictionary() : PropertyListDictionary();
  setPositionValue({single(numberIn(values, "tx") * imageRect.size.width + imageRect.origin.x),
                    single(numberIn(values, "ty") * imageRect.size.height + imageRect.origin.y)});
  setXScale(numberIn(values, "sx"));
  setYScale(numberIn(values, "sy"));
  setStoredRotation(numberIn(values, "r"));
  setSkew(numberIn(values, "sk"));
}

}  // namespace vello
