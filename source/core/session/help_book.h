// The help book that the plug-in has announced. One per process, safe from any thread.
#pragma once

#include <optional>
#include <string>

namespace vello {

// Records the bundle folder whose help book is to be opened.
void registerHelpBook(const std::string& bundleFolder);
// The folder recorded last, or nothing.
std::optional<std::string> registeredHelpBook();

}  // namespace vello
