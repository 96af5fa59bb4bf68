#include "source/parameters/KPGeometryParameterController.h"

#include "source/parameters/scoped_value.h"

namespace vello {

void KPGeometryParameterController::setFilterValueMuted(Value value) {
  const ScopedValue mute(fMute, true);
  setFilterValue(std::move(value));
}

}  // namespace vello
