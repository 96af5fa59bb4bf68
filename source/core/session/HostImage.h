// What a host hands over: its pixels and how it wants them rendered.
#pragma once

#include <cstdint>

#include "platform/bitmap.h"

namespace vello {

struct HostImage {
  Bitmap bitmap;
  int32_t renderingIntent = 0;  // 0 is the default intent
};

}  // namespace vello
