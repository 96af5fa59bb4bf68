// Between a filter's colour and a colour well's, which shows calibrated RGB: sRGB, what filters take. Nil,
// and what is no colour, is nil.
#pragma once

#include "source/screen/KPValueTransformer.h"

namespace vello {

class KPColorValueTransformer : public KPValueTransformer {
 public:
  Value transformedValue(const Value& value) const override { return value.color() ? value : Value(); }
  Value reverseTransformedValue(const Value& value) const override { return transformedValue(value); }
};

}  // namespace vello
