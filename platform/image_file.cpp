#include "platform/image_file.h"

#include <new>

#include "platform/image_codecs/open_picture.h"
#include "platform/image_codecs/orientation.h"
#include "platform/streamed_writer.h"

namespace vello {

namespace {

std::string decodeAll(OpenedPicture& picture) {
  picture.image.allocate();
  while (picture.decoder->finishedRows() < picture.image.layout.height) {
    if (std::string error = picture.decoder->decode(picture.image.layout.height); !error.empty())
      return error;
  }
  return {};
}

ImageReadResult read(const ByteSource& source, const std::string& name, const ImageLimits& limits) {
  ImageReadResult result;
  OpenedPicture picture;
  DecodedImage& image = picture.image;
  const auto fail = [&](const std::string& error) { result.error = name + ": " + error; };
  try {
    const DecodeRequest request{source, limitsOfMemory(limits), defaultMemory()};
    std::string error = openPicture(request, picture);
    if (error.empty()) error = decodeAll(picture);
    if (!error.empty()) return fail(error), result;
    applyOrientation(image);
    const uint8_t* bytes = image.pixels.get();
    result.bitmap = Bitmap(image.layout, std::move(picture.space), std::move(image.pixels), bytes);
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
  OpenedPicture picture;
  if (const std::unique_ptr<ByteSource> source = openFile(path, &text)) {
    try {
      text = openPicture({*source, limitsOfFile({}), defaultMemory(), true}, picture);
    } catch (const std::bad_alloc&) {
      text = "not enough memory";
    }
    if (text.empty()) return picture.image.info;
    text = path + ": " + text;
  }
  if (error) *error = text;
  return std::nullopt;
}

std::optional<std::string> writeImageFile(const std::string& path, const Bitmap& bitmap,
                                          const ImageWriteOptions& options,
                                          std::vector<std::string>* warnings) {
  if (bitmap.empty()) return path + ": there is no picture to write";
  StreamedPictureWriter writer(path, bitmap.layout(), bitmap.space(), options);
  std::string error = writer.write(0, bitmap.height(), bitmap.row(0), bitmap.layout().bytesPerRow);
  if (error.empty()) error = writer.finish();
  if (warnings) warnings->insert(warnings->end(), writer.warnings().begin(), writer.warnings().end());
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
