// An affine transform, composed from a translation (a position with a handle over the canvas), two scales, a
// rotation and a skew. The controller keeps these six numbers; a filter's transform is never taken apart, so
// one set from elsewhere does not reach them.
#pragma once

#include "source/parameters/KPVector2DParameterController.h"

namespace vello {

class KPTransformParameterController : public KPVector2DParameterController {
 public:
  static std::unique_ptr<KPTransformParameterController> controllerForFilter(std::shared_ptr<CIFilter> filter,
                                                                             std::string parameter);
  KPTransformParameterController(std::shared_ptr<CIFilter> filter, std::string parameter);

  KPSlider& scaleSliderX() { return fScaleSlider_X; }
  KPSlider& scaleSliderY() { return fScaleSlider_Y; }
  KPSlider& rotateSlider() { return fRotateSlider; }
  KPSlider& skewSlider() { return fSkewSlider; }
  KPEditBox& scaleEditBoxX() { return fScaleEditBox_X; }
  KPEditBox& scaleEditBoxY() { return fScaleEditBox_Y; }
  KPEditBox& rotateEditBox() { return fRotateEditBox; }
  KPEditBox& skewEditBox() { return fSkewEditBox; }

  void setValueFromDict(const PropertyListDictionary& dict, const CGRect& imageRect) override;
  void addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const override;
  // The identity. Writes the filter five times, once for each property.
  void reset() override;

  // The translation, in image coordinates.
  CGPoint positionValue() const override { return {fTranslate_X, fTranslate_Y}; }
  void setPositionValue(CGPoint position) override;
  float xScale() const { return fScale_X; }
  float yScale() const { return fScale_Y; }
  void setXScale(float scale);
  void setYScale(float scale);
  // Degrees, as shown: in the opposite sense to the rotation applied.
  float rotation() const { return 360 - fRotation; }
  void setRotation(float degrees) { setStoredRotation(360 - degrees); }
  // Degrees; their radians are the shear factor.
  float skew() const { return fSkew; }
  void setSkew(float degrees);

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  void initTransformControls();
  template <class... Access>
  void bindBoth(KPSlider& slider, KPEditBox& box, Access... access) {
    bindNumber(slider, access...);
    bindNumber(box, access...);
  }
  // What a chain holds: no digit of it is lost.
  void setStoredRotation(float degrees);
  void setModelTransform();
  // What the user enters, clamped and rounded in decimal.
  Value validateScale(float scale) const;
  Value validateRotation(float degrees) const;
  Value validateSkew(float degrees) const;
  Value roundedWithin(float value, float from, float to) const;

  KPSlider fScaleSlider_X, fScaleSlider_Y, fRotateSlider, fSkewSlider;
  KPEditBox fScaleEditBox_X, fScaleEditBox_Y, fRotateEditBox, fSkewEditBox;
  float fMinScale;
  float fTranslate_X = 0, fTranslate_Y = 0;
  float fScale_X = 1, fScale_Y = 1;
  float fRotation = 0;  // degrees, 360 minus the angle shown
  float fSkew = 0;      // degrees
};

}  // namespace vello
