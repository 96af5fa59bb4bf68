// What this program is: its version, the instructions it computes with and the formats it knows.
#pragma once

#include <string>

namespace vello::cli {

std::string versionText();

}  // namespace vello::cli
