// A picture straight from its file.
#pragma once

#include <cstdint>
#include <string>

#include "engine/image/image.h"

namespace vello {

// nil, with a log line that names the file, when it cannot be read or has more than `maxPixels` pixels (0: as
// many as fit the machine).
CIImage readPicture(const std::string& path, int64_t maxPixels = 0);

}  // namespace vello
