#include "source/parameters/picture_file.h"

#include "platform/image_file.h"
#include "platform/log.h"

namespace vello {
namespace {

constexpr const char* kUnreadable = "*** Vello : could not read the picture of an image input: %@\n";

}  // namespace

CIImage readPicture(const std::string& path, int64_t maxPixels) {
  ImageLimits limits;
  limits.pixels = maxPixels;
  const ImageReadResult read = readImageFile(path, limits);
  if (read.ok()) return CIImage::imageWithBitmap(read.bitmap);
  logLine(kUnreadable, {read.error});
  return {};
}

}  // namespace vello
