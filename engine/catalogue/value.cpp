#include "engine/catalogue/value.h"

namespace vello {

bool Value::isNumber() const { return boolean() || integer() || single() || real(); }

double Value::number() const {
  if (const bool* v = boolean()) return *v ? 1 : 0;
  if (const int64_t* v = integer()) return static_cast<double>(*v);
  if (const float* v = single()) return *v;
  if (const double* v = real()) return *v;
  return 0;
}

}  // namespace vello
