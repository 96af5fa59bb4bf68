// Files the program carries: pictures and string tables. Found from the library that holds this code: in a
// build tree through the file "vello-resources-path" that the build writes into its root, else in
// ../../share/vello, ../share/vello or ../../../share/vello. The environment and the current directory never
// choose the folder. Safe from any thread.
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

// The text for `key` in the user's language, in English where that table lacks it, or nothing.
std::optional<std::string> localizedString(std::string_view key);
std::optional<std::string> localizedString(std::string_view key, std::string_view language);
// "de", "en", "es", "fr" or "ja": what the environment asked for when the process first needed it.
const std::string& userLanguage();
// The language for a locale as LC_ALL, LC_MESSAGES or LANG name it and for LANGUAGE, a list of choices, the
// best first, that counts before the locale unless that is "C". English when no table fits.
std::string languageFor(std::string_view locale, std::string_view choices);

}  // namespace vello
