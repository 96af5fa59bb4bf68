// A filter of an image unit as a row of the catalogue.
#pragma once

#include <memory>
#include <vector>

#include "engine/catalogue/definition.h"
#include "include/vello/image_unit.h"

namespace vello {

// The row and all it points to. Requires a filter that checkImageUnit passes, and stays where it is.
class UnitFilter {
 public:
  explicit UnitFilter(const VelloUnitFilter& filter);
  UnitFilter(const UnitFilter&) = delete;
  UnitFilter& operator=(const UnitFilter&) = delete;
  const FilterDef& row() const { return row_; }

 private:
  std::vector<InputDef> inputs_;
  KernelOps ops_;
  FilterDef row_;
};

}  // namespace vello
