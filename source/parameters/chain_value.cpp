#include "source/parameters/chain_value.h"

#include "platform/number_text.h"

namespace vello {

Value numberFromChain(const PropertyList& entry) {
  if (const bool* v = entry.boolean()) return *v;
  if (const int64_t* v = entry.integer()) return *v;
  if (const double* v = entry.real()) return *v;
  if (const std::string* v = entry.string()) return leadingNumber(*v);
  return {};
}

PropertyList numberForChain(const Value& number) {
  if (const bool* v = number.boolean()) return *v;
  if (const int64_t* v = number.integer()) return *v;
  return number.number();
}

}  // namespace vello
