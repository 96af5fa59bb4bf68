// Files without a name, which vanish with the last descriptor or mapping, however the process ends.
#pragma once

#include <cstdint>
#include <string>

namespace vello {

// $TMPDIR, else /tmp.
std::string temporaryFolder();

// A descriptor of a file in `folder` (empty: the temporary folder) that has `bytes` bytes, all their room
// taken at once. The caller closes it. -1 when there is no room: the error names the folder and the need.
int openTemporaryFile(int64_t bytes, const std::string& folder, std::string* error);

}  // namespace vello
