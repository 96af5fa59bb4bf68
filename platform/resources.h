// Files the program carries: pictures and string tables. Found beside the library that holds this code: in
// the build tree, else in ../../share/vello from it, else in ../share/vello. VELLO_RESOURCES_DIR in the
// environment is never read.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vello {

// The folder of the resources; empty when there is none.
const std::string& resourcesFolder();
// The full path of a resource, or nothing.
std::optional<std::string> pathForResource(std::string_view name);
// The folder that the shared object holding this code lies in.
const std::string& libraryFolder();

// The text for `key` in the user's language (LC_ALL, LC_MESSAGES, LANG, LANGUAGE; English when none fits), or
// nothing.
std::optional<std::string> localizedString(std::string_view key);

}  // namespace vello
