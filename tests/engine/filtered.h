// Filters by name, as tests apply them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "engine/catalogue/filter.h"

namespace vello::testing {

using FilterInputs = std::vector<std::pair<std::string, Value>>;

// What the filter makes of the image, with its defaults but for `inputs`. A nil image is not set.
inline CIImage filtered(const CIImage& image, const std::string& name, const FilterInputs& inputs = {}) {
  const auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  if (!image.isNil()) filter->setValueForKey(image, "inputImage");
  for (const auto& [key, value] : inputs) filter->setValueForKey(value, key);
  return filter->outputImage();
}

}  // namespace vello::testing
