// Turns a value into the form a control shows and back.
#pragma once

#include "engine/catalogue/value.h"

namespace vello {

class KPValueTransformer {
 public:
  virtual ~KPValueTransformer() = default;
  virtual Value transformedValue(const Value& value) const = 0;
  virtual Value reverseTransformedValue(const Value& value) const = 0;
};

}  // namespace vello
