// The value of a filter's input.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "engine/image/color.h"
#include "engine/image/image.h"
#include "engine/image/vector.h"
#include "platform/data.h"
#include "platform/geometry.h"

namespace vello {

class Value {
 public:
  Value() = default;  // nil: the input's default is used when rendering
  Value(bool v) : value_(v) {}
  Value(int v) : value_(int64_t{v}) {}
  Value(int64_t v) : value_(v) {}
  Value(float v) : value_(v) {}
  Value(double v) : value_(v) {}
  Value(const char* v) : value_(std::string(v)) {}
  Value(std::string v) : value_(std::move(v)) {}
  Value(Data v) : value_(std::move(v)) {}
  Value(CIVector v) : value_(std::move(v)) {}
  Value(CIColor v) : value_(v) {}
  Value(CGAffineTransform v) : value_(v) {}
  Value(CIImage v) : value_(std::move(v)) {}  // a nil image makes a nil value when read with image()

  bool isNil() const { return std::holds_alternative<std::monostate>(value_); }
  bool isNumber() const;  // boolean, integer, single or double real
  // 0 for what is no number; booleans are 0 or 1.
  double number() const;
  float floatValue() const { return static_cast<float>(number()); }
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const int64_t* integer() const { return std::get_if<int64_t>(&value_); }
  const float* single() const { return std::get_if<float>(&value_); }
  const double* real() const { return std::get_if<double>(&value_); }
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const Data* data() const { return std::get_if<Data>(&value_); }
  const CIVector* vector() const { return std::get_if<CIVector>(&value_); }
  const CIColor* color() const { return std::get_if<CIColor>(&value_); }
  const CGAffineTransform* transform() const { return std::get_if<CGAffineTransform>(&value_); }
  const CIImage* image() const { return std::get_if<CIImage>(&value_); }

  friend bool operator==(const Value& a, const Value& b) = default;

 private:
  std::variant<std::monostate, bool, int64_t, float, double, std::string, Data, CIVector, CIColor,
               CGAffineTransform, CIImage>
      value_;
};

}  // namespace vello
