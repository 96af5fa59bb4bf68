// A filter chain between its text (a property list) and the array of per-filter dictionaries that a filter
// stack writes and reads.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace vello {

// Key of the filter's name in each dictionary.
inline constexpr const char* kCIAttributeFilterName = "CIAttributeFilterName";

struct ChainTextResult {
  PropertyList list;
  std::string error;  // empty on success; else one sentence
  bool ok() const { return error.empty(); }
  // One element a box. Requires success.
  const PropertyListArray& boxes() const { return *list.array(); }
};

// Any property-list format whose root is an array, within the limits of chain_limits.h.
ChainTextResult readChainText(std::string_view text);
// The same for a chain that is to be applied: the image files' sizes, told by their headers, count too. The
// reason of a failure goes into the log.
ChainTextResult chainFromText(std::string_view text);
// The different files that the boxes' image inputs name.
std::set<std::string> imagePathsInChain(const PropertyListArray& boxes);
// The XML form; a failure is logged.
std::optional<std::string> chainToText(const PropertyListArray& boxes);

}  // namespace vello
