#include "platform/image_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/metadata_blocks.h"
#include "platform/image_codecs/orientation.h"

namespace vello {

namespace {

// Half the machine's memory for one picture, and as many pixels as would fill it with 8-bit RGBA.
ImageLimits withDefaults(ImageLimits limits) {
  const int64_t memory = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
  if (limits.bytes <= 0) limits.bytes = std::max(memory / 2, int64_t{1} << 28);
  if (limits.pixels <= 0) limits.pixels = limits.bytes / 4;
  return limits;
}

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

std::string decode(const DecodeRequest& request, DecodedImage& image) {
  if (request.source.size() == 0) return "the file is empty";
  const std::optional<ImageFormat> format = formatOf(request.source);
  if (!format) return "not a TIFF, PNG, JPEG or WebP picture";
  image.info.format = *format;
  std::string error;
  switch (*format) {
    case ImageFormat::tiff:
      error = decodeTIFF(request, image);
      break;
    case ImageFormat::png:
      error = decodePNG(request, image);
      break;
    case ImageFormat::jpeg:
      error = decodeJPEG(request, image);
      break;
    case ImageFormat::webp:
      error = decodeWebP(request, image);
      break;
  }
  // A TIFF file's own tag stands above what an Exif block says.
  if (error.empty() && *format != ImageFormat::tiff) image.orientation = exifOrientation(image.metadata.exif);
  if (image.orientation >= 5) std::swap(image.info.width, image.info.height);
  return error;
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

ImageReadResult read(const ByteSource& source, const std::string& name, const ImageLimits& limits) {
  ImageReadResult result;
  DecodedImage image;
  const auto fail = [&](const std::string& error) { result.error = name + ": " + error; };
  try {
    if (std::string error = decode({source, withDefaults(limits), false}, image); !error.empty()) {
      return fail(error), result;
    }
    ColorSpacePtr space = spaceOf(image);
    applyOrientation(image);
    const uint8_t* bytes = image.pixels.get();
    result.bitmap = Bitmap(image.layout, std::move(space), std::move(image.pixels), bytes);
    result.metadata = std::move(image.metadata);
    result.info = image.info;
    result.warnings = std::move(image.warnings);
  } catch (const std::bad_alloc&) {
    fail("not enough memory");
  }
  return result;
}

}  // namespace

ImageReadResult readImageFile(const std::string& path, const ImageLimits& limits) {
  ImageReadResult result;
  const std::unique_ptr<ByteSource> source = openFile(path, &result.error);
  return source ? read(*source, path, limits) : result;
}

ImageReadResult readImage(std::span<const uint8_t> bytes, const std::string& name,
                          const ImageLimits& limits) {
  return read(MemorySource(bytes), name, limits);
}

std::optional<ImageFileInfo> imageFileInfo(const std::string& path, std::string* error) {
  std::string text;
  DecodedImage image;
  if (const std::unique_ptr<ByteSource> source = openFile(path, &text)) {
    try {
      text = decode({*source, withDefaults({}), true}, image);
    } catch (const std::bad_alloc&) {
      text = "not enough memory";
    }
    if (text.empty()) return image.info;
    text = path + ": " + text;
  }
  if (error) *error = text;
  return std::nullopt;
}

namespace {

std::string whyUnwritable(const Bitmap& bitmap, ImageFormat format) {
  if (bitmap.empty()) return "there is no picture to write";
  const PixelLayout& layout = bitmap.layout();
  const int colors = layout.colorComponents();
  if (format == ImageFormat::webp) return "WebP cannot be written";
  if (layout.bitsPerComponent > 16 || (colors != 1 && colors != 3)) {
    return "only grey and RGB pictures of 8 and 16 bits can be written";
  }
  if (format == ImageFormat::png && layout.premultiplied()) return "PNG cannot hold premultiplied pixels";
  if (format == ImageFormat::jpeg && layout.hasAlpha()) return "JPEG cannot hold transparency";
  if (format == ImageFormat::jpeg && layout.bitsPerComponent != 8) return "JPEG holds 8 bits only";
  return {};
}

bool isWhole(double value) { return value == static_cast<double>(static_cast<int64_t>(value)); }

// The blocks as they are true for the written picture.
ImageMetadata updated(const Bitmap& bitmap, const ImageWriteOptions& options) {
  ImageMetadata metadata = options.metadata;
  constexpr double kLargestDpi = 1e6;
  for (std::optional<double>* dpi : {&metadata.dpiX, &metadata.dpiY}) {
    if (*dpi && !(**dpi > 0 && **dpi <= kLargestDpi)) dpi->reset();
  }
  updateExif(metadata.exif, bitmap.width(), bitmap.height(), {metadata.dpiX, metadata.dpiY});
  resetXMPOrientation(metadata.xmp);
  const bool fraction =
      metadata.dpiX && metadata.dpiY && (!isWhole(*metadata.dpiX) || !isWhole(*metadata.dpiY));
  if (options.format == ImageFormat::jpeg && fraction && metadata.exif.empty()) {
    metadata.exif = makeExif(*metadata.dpiX, *metadata.dpiY);
  }
  return metadata;
}

std::string encode(const EncodeRequest& request, int descriptor) {
  switch (request.options.format) {
    case ImageFormat::png:
      return encodePNG(request, descriptor);
    case ImageFormat::jpeg:
      return encodeJPEG(request, descriptor);
    default:
      return encodeTIFF(request, descriptor);
  }
}

}  // namespace

std::optional<std::string> writeImageFile(const std::string& path, const Bitmap& bitmap,
                                          const ImageWriteOptions& options,
                                          std::vector<std::string>* warnings) {
  if (std::string reason = whyUnwritable(bitmap, options.format); !reason.empty()) {
    return path + ": " + reason;
  }
  std::vector<std::string> ignored;
  AtomicFile file(path);
  if (!file.error().empty()) return file.error();
  try {
    const EncodeRequest request{bitmap, options, updated(bitmap, options), warnings ? *warnings : ignored};
    if (std::string error = encode(request, file.descriptor()); !error.empty()) return path + ": " + error;
  } catch (const std::bad_alloc&) {
    return path + ": not enough memory";
  }
  const std::string error = file.commit();
  return error.empty() ? std::nullopt : std::optional(error);
}

std::optional<ImageFormat> imageFormatForPath(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos) return std::nullopt;
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (extension == "tif" || extension == "tiff") return ImageFormat::tiff;
  if (extension == "png") return ImageFormat::png;
  if (extension == "jpg" || extension == "jpeg") return ImageFormat::jpeg;
  if (extension == "webp") return ImageFormat::webp;
  return std::nullopt;
}

}  // namespace vello
