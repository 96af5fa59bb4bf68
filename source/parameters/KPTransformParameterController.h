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
  using KPVector2DParameterController::KPVector2DParameterController;

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
  void setRotation(float degrees);
  // Degrees; their radians are the shear factor.
  float skew() const { return fSkew; }
  void setSkew(float degrees);

 protected:
  void initControls() override;
  void observeValueForKeyPath(std::string_view keyPath) override;

 private:
  void setModelTransform();

  float fTranslate_X = 0, fTranslate_Y = 0;
  float fScale_X = 1, fScale_Y = 1;
  float fRotation = 0;  // degrees, 360 minus the angle shown
  float fSkew = 0;      // degrees
};

}  // namespace vello
