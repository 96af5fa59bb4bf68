#include "source/parameters/number_transformers.h"

#include <cmath>
#include <numbers>

#include "platform/exception.h"
#include "platform/log.h"
#include "platform/number_text.h"

namespace vello {
namespace {

constexpr const char* kNoFloatValue = "Value (%@) does not respond to -floatValue.";
constexpr float kSameEnd = 0.001f;  // radians

const char* className(const Value& value) {
  if (value.vector()) return "CIVector";
  if (value.color()) return "CIColor";
  if (value.image()) return "CIImage";
  return value.transform() ? "NSAffineTransform" : "NSData";
}

float floatValue(const Value& value) {
  if (value.isNumber()) return value.floatValue();
  if (value.string()) return static_cast<float>(leadingNumber(*value.string()));
  throw KPException(NSInternalInconsistencyException, formatText(kNoFloatValue, {className(value)}));
}

double degrees(double radians) { return radians * 180 / std::numbers::pi; }

}  // namespace

Value KPTimeValueTransformer::transformedValue(const Value& value) const {
  return value.isNil() ? value : floatValue(value) * 100;
}

Value KPTimeValueTransformer::reverseTransformedValue(const Value& value) const {
  return value.isNil() ? value : floatValue(value) / 100;
}

Value KPAngleValueTransformer::transformedValue(const Value& value) const {
  return value.isNil() ? value : static_cast<float>(degrees(floatValue(value)));
}

Value KPAngleValueTransformer::reverseTransformedValue(const Value& value) const {
  if (value.isNil()) return value;
  return static_cast<float>(double{floatValue(value)} / 180 * std::numbers::pi);
}

Value KPRotationValueTransformer::transformedValue(const Value& value) const {
  if (value.isNil()) return value;
  const float fromMiddle = floatValue(value) - middle();
  const double shown = degrees(middle() - fromMiddle - fMinValue);
  return static_cast<float>(fDiscrete ? std::round(shown) : shown);
}

Value KPRotationValueTransformer::reverseTransformedValue(const Value& value) const {
  if (value.isNil()) return value;
  const float shown = fDiscrete ? std::round(floatValue(value)) : floatValue(value);
  const float turned = static_cast<float>(double{shown} / 180 * std::numbers::pi + fMinValue);
  const float radians = middle() - (turned - middle());
  return std::fabs(radians - fMinValue) < kSameEnd ? fMaxValue : radians;
}

}  // namespace vello
