// Between a number as a filter has it and as its control shows it. Nil stays nil. A number, and a text that
// begins with one, is taken in single precision; any other value raises NSInternalInconsistencyException.
#pragma once

#include "source/screen/KPValueTransformer.h"

namespace vello {

// Shown in hundredths.
class KPTimeValueTransformer : public KPValueTransformer {
 public:
  Value transformedValue(const Value& value) const override;
  Value reverseTransformedValue(const Value& value) const override;
};

// Radians, shown in degrees.
class KPAngleValueTransformer : public KPValueTransformer {
 public:
  Value transformedValue(const Value& value) const override;
  Value reverseTransformedValue(const Value& value) const override;
};

// Radians of a full turn, shown as 0 to 360 degrees measured backwards from the maximum.
class KPRotationValueTransformer : public KPValueTransformer {
 public:
  // The ends in radians. `discrete`: whole degrees only, both ways.
  KPRotationValueTransformer(float minValue, float maxValue, bool discrete)
      : fMinValue(minValue), fMaxValue(maxValue), fDiscrete(discrete) {}
  Value transformedValue(const Value& value) const override;
  // 360 degrees are the maximum, as 0 degrees are, not the minimum.
  Value reverseTransformedValue(const Value& value) const override;

 private:
  float middle() const { return (fMinValue + fMaxValue) * 0.5f; }

  float fMinValue, fMaxValue;
  bool fDiscrete;
};

}  // namespace vello
