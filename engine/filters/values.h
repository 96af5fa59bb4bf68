// The inputs of one filter, as kernels and compositions read them: nil inputs are replaced by their defaults.
#pragma once

#include <string>
#include <vector>

#include "engine/catalogue/value.h"
#include "engine/filters/kernel.h"

namespace vello {

struct NamedValue {
  const char* key;  // outlives the values: it belongs to the filter's row
  Value value;
};

class Values {
 public:
  Values() = default;
  explicit Values(std::vector<NamedValue> items) : items_(std::move(items)) {}

  // Not-a-number and wrong kinds come back as 0; infinities and everything beyond +-1e30 as +-1e30, so that
  // kernels compute with finite numbers.
  double number(const char* key) const;
  // The number raised to at least `low` and lowered to at most `high`.
  double number(const char* key, double low, double high) const;
  // Component of a vector, sanitised like number(); 0 beyond its end.
  double component(const char* key, int index) const;
  Vec2 point(const char* key) const { return {component(key, 0), component(key, 1)}; }
  // A rectangle given as a vector (x, y, width, height), components kept finite. One that reaches beyond the
  // infinite extent on every side is the infinite extent.
  CGRect rect(const char* key) const;
  // The colour in linear light of the working space, straight alpha; components are kept within +-1e15, so
  // that products of two are finite.
  Px color(const char* key) const;
  // The same, premultiplied.
  Px premultiplied(const char* key) const;
  // The identity when missing.
  CGAffineTransform transform(const char* key) const;
  const std::string& text(const char* key) const;
  CIImage image(const char* key) const;
  const Value& value(const char* key) const;  // nil when the key is missing

  void set(const char* key, Value value);
  const std::vector<NamedValue>& items() const { return items_; }

  // Row-major linear sRGB to the working space's linear primaries, for color(); nullptr is the identity. Not
  // owned.
  void setWorkingMatrix(const double* matrix) { workingMatrix_ = matrix; }

 private:
  std::vector<NamedValue> items_;
  const double* workingMatrix_ = nullptr;
};

}  // namespace vello
