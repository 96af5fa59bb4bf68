// Making a filter chain from names and values, with a session as a window would have it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/geometry.h"

namespace vello::cli {

// A filter as typed: NAME[:key=value]...
struct FilterSpec {
  std::string name;
  std::vector<std::pair<std::string, std::string>> values;  // key, text
};

struct FilterSpecResult {
  FilterSpec spec;
  std::string error;  // empty on success
  bool ok() const { return error.empty(); }
};

// In values "\:" stands for a colon and "\\" for a backslash.
FilterSpecResult parseFilterSpec(const std::string& text);

struct ChainTextOrError {
  std::string text, error;
  bool ok() const { return error.empty(); }
};

// The chain that a session on a picture of this size writes when these filters are added and their values
// set. Every control's key is in it.
ChainTextOrError makeChain(const CGSize& size, const std::vector<FilterSpec>& filters);

}  // namespace vello::cli
