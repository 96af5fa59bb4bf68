// The plug-in's texts in the user's language.
#pragma once

#include <string>
#include <string_view>

namespace vello {

// Empty for a key the string tables do not have, so that a missing text shows as an empty label.
std::string KPLocalizedString(std::string_view key);

}  // namespace vello
