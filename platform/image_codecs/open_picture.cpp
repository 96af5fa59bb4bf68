#include "platform/image_codecs/open_picture.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/image_codecs/exif.h"

namespace vello {

int64_t defaultMemory() {
  const int64_t memory = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
  return std::max(memory / 2, int64_t{1} << 28);
}

ImageLimits limitsOfMemory(ImageLimits limits) {
  if (limits.bytes <= 0) limits.bytes = defaultMemory();
  if (limits.pixels <= 0) limits.pixels = limits.bytes / 4;
  return limits;
}

ImageLimits limitsOfFile(ImageLimits limits) {
  if (limits.bytes <= 0) limits.bytes = int64_t{1} << 46;
  if (limits.pixels <= 0) limits.pixels = limits.bytes / 4;
  return limits;
}

namespace {

std::optional<ImageFormat> formatOf(const ByteSource& source) {
  uint8_t head[12] = {};
  const size_t count = source.read(0, head, sizeof head);
  const auto startsWith = [&](std::string_view magic, size_t at = 0) {
    return count >= at + magic.size() && std::memcmp(head + at, magic.data(), magic.size()) == 0;
  };
  if (startsWith("\x89PNG")) return ImageFormat::png;
  if (startsWith("\xff\xd8\xff")) return ImageFormat::jpeg;
  if (startsWith("RIFF") && startsWith("WEBP", 8)) return ImageFormat::webp;
  for (const std::string_view magic : {std::string_view("II*\0", 4), std::string_view("MM\0*", 4),
                                       std::string_view("II+\0", 4), std::string_view("MM\0+", 4)}) {
    if (startsWith(magic)) return ImageFormat::tiff;
  }
  return std::nullopt;
}

std::string openFormat(ImageFormat format, const DecodeRequest& request, OpenedPicture& picture) {
  switch (format) {
    case ImageFormat::tiff:
      return openTIFF(request, picture.image, picture.decoder);
    case ImageFormat::png:
      return openPNG(request, picture.image, picture.decoder);
    case ImageFormat::jpeg:
      return openJPEG(request, picture.image, picture.decoder);
    case ImageFormat::webp:
      return openWebP(request, picture.image, picture.decoder);
  }
  return {};
}

std::string megabytes(int64_t bytes) { return std::to_string((bytes + 999'999) / 1'000'000) + " MB"; }

std::string memoryProblem(const OpenedPicture& picture, int64_t memory) {
  const int64_t needed = picture.decoder->heldBytes();
  if (needed <= memory) return {};
  return "a picture stored in this way needs " + megabytes(needed) + " of memory while it is decoded, " +
         megabytes(memory) + " are allowed";
}

ColorSpacePtr untaggedSpace(const DecodedImage& image) {
  if (image.untaggedSpace) return image.untaggedSpace;
  if (image.layout.colorComponents() == 1) return ColorSpace::named("sRGB gray");
  return image.layout.colorComponents() == 4 ? ColorSpace::named("device CMYK") : ColorSpace::sRGB();
}

ColorSpacePtr spaceOf(DecodedImage& image) {
  if (image.profile.empty()) return untaggedSpace(image);
  ColorSpacePtr space = ColorSpace::fromProfile(image.profile);
  if (space && space->componentCount() == image.layout.colorComponents() &&
      space->model() != ColorSpace::Model::lab) {
    return space;
  }
  image.warnings.push_back(space ? "the colour profile does not fit the pixels and is ignored"
                                 : "the colour profile is broken; sRGB is assumed");
  return untaggedSpace(image);
}

}  // namespace

std::string openPicture(const DecodeRequest& request, OpenedPicture& picture) {
  if (request.source.size() == 0) return "the file is empty";
  const std::optional<ImageFormat> format = formatOf(request.source);
  if (!format) return "not a TIFF, PNG, JPEG or WebP picture";
  DecodedImage& image = picture.image;
  image.info.format = *format;
  if (std::string error = openFormat(*format, request, picture); !error.empty()) return error;
  // A TIFF file's own tag stands above what an Exif block says.
  if (*format != ImageFormat::tiff) image.orientation = exifOrientation(image.metadata.exif);
  if (image.orientation >= 5) std::swap(image.info.width, image.info.height);
  if (request.headerOnly) return {};
  picture.space = spaceOf(image);
  return memoryProblem(picture, request.memory);
}

}  // namespace vello
