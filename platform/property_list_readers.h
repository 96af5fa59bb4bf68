// The three forms of a property list, each read by its own file. Inputs keep the limit of bytes already.
#pragma once

#include <span>
#include <string_view>

#include "platform/property_list.h"

namespace vello {

PropertyListResult readXmlPropertyList(std::string_view text, const PropertyListLimits& limits);
PropertyListResult readBinaryPropertyList(std::span<const uint8_t> bytes, const PropertyListLimits& limits);
PropertyListResult readOldStylePropertyList(std::string_view text, const PropertyListLimits& limits);

}  // namespace vello
