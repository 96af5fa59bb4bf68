// The pictures that image inputs start with. Each is decoded once for the process; safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/image/image.h"

namespace vello {

// The file for an image input of a filter; empty when it is not installed, which is logged once.
std::string defaultPicturePath(std::string_view filterName, std::string_view key);
// The default picture in that file, nil when it cannot be read (logged once); nothing when the path is not
// one of theirs.
std::optional<CIImage> defaultPictureAtPath(const std::string& path);

}  // namespace vello
