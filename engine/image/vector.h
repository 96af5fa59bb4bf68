// A vector of double components, as filter inputs hold positions, offsets, rectangles and rows of
// coefficients.
#pragma once

#include <initializer_list>
#include <vector>

#include "platform/geometry.h"

namespace vello {

class CIVector {
 public:
  CIVector() = default;
  CIVector(std::initializer_list<double> values) : values_(values) {}
  explicit CIVector(std::vector<double> values) : values_(std::move(values)) {}

  int count() const { return static_cast<int>(values_.size()); }
  // 0 beyond the last component.
  double valueAtIndex(int index) const { return index >= 0 && index < count() ? values_[index] : 0; }
  double X() const { return valueAtIndex(0); }
  double Y() const { return valueAtIndex(1); }
  double Z() const { return valueAtIndex(2); }
  double W() const { return valueAtIndex(3); }
  const std::vector<double>& values() const { return values_; }
  friend bool operator==(const CIVector&, const CIVector&) = default;

 private:
  std::vector<double> values_;
};

}  // namespace vello
