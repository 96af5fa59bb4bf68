// Context the parts of a session share on one thread, by name. Values are shared pointers to whatever the key
// says.
#pragma once

#include <any>
#include <string_view>

namespace vello {

// The value under `key`, or an empty any.
std::any threadDictionaryValue(std::string_view key);
// An empty any removes the key.
void setThreadDictionaryValue(std::string_view key, std::any value);

}  // namespace vello
