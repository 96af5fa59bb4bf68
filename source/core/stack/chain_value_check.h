// One value of a chain against the form its control writes.
#pragma once

#include <optional>
#include <string>

#include "platform/property_list.h"
#include "source/core/stack/chain_check.h"
#include "source/core/stack/control_kind.h"

namespace vello {

struct ValueProblem {
  ChainSeverity severity;
  std::string message;
};

// Nothing when the value has the form that a control of `kind` writes. An image's file is not opened.
std::optional<ValueProblem> problemOfValue(ControlKind kind, const InputAttributes& input,
                                           const PropertyList& value);
// A text from a chain, cut to what fits a message.
std::string shortened(const std::string& text);

}  // namespace vello
