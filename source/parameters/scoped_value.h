// Gives a variable another value until the end of the scope, however it is left.
#pragma once

#include <utility>

namespace vello {

template <class T>
class ScopedValue {
 public:
  ScopedValue(T& variable, T value)
      : variable_(variable), former_(std::exchange(variable, std::move(value))) {}
  ~ScopedValue() { variable_ = std::move(former_); }
  ScopedValue(const ScopedValue&) = delete;
  ScopedValue& operator=(const ScopedValue&) = delete;

 private:
  T& variable_;
  T former_;
};

}  // namespace vello
