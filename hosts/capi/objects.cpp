#include "hosts/capi/objects.h"

#include <map>
#include <mutex>

namespace vello {

void CObject::retain() const { references_.fetch_add(1, std::memory_order_relaxed); }

void CObject::release() const {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1 && !immortal_) delete this;
}

SharedBytes::SharedBytes(Data data) {
  const auto kept = std::make_shared<const Data>(std::move(data));
  bytes = kept->data();
  length = kept->size();
  owner = kept;
}

CFStringRef internedString(const std::string& text) {
  static std::mutex mutex;
  // Never destroyed: a host may read its strings while the process ends.
  static auto& strings = *new std::map<std::string, std::unique_ptr<__CFString>>;
  const std::lock_guard lock(mutex);
  std::unique_ptr<__CFString>& string = strings[text];
  if (!string) {
    string = std::make_unique<__CFString>(text);
    string->makeImmortal();
  }
  return string.get();
}

}  // namespace vello

__CFArray::__CFArray(std::vector<const vello::CObject*> v) : values(std::move(v)) {
  for (const vello::CObject* value : values) value->retain();
}

__CFArray::~__CFArray() {
  for (const vello::CObject* value : values) value->release();
}
