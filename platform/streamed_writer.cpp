#include "platform/streamed_writer.h"

#include <new>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/metadata_blocks.h"

namespace vello {

namespace {

std::string whyUnwritable(const PixelLayout& layout, ImageFormat format) {
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
ImageMetadata updated(const PixelLayout& layout, const ImageWriteOptions& options) {
  ImageMetadata metadata = options.metadata;
  constexpr double kLargestDpi = 1e6;
  for (std::optional<double>* dpi : {&metadata.dpiX, &metadata.dpiY}) {
    if (*dpi && !(**dpi > 0 && **dpi <= kLargestDpi)) dpi->reset();
  }
  updateExif(metadata.exif, layout.width, layout.height, {metadata.dpiX, metadata.dpiY});
  resetXMPOrientation(metadata.xmp);
  const bool fraction =
      metadata.dpiX && metadata.dpiY && (!isWhole(*metadata.dpiX) || !isWhole(*metadata.dpiY));
  if (options.format == ImageFormat::jpeg && fraction && metadata.exif.empty()) {
    metadata.exif = makeExif(*metadata.dpiX, *metadata.dpiY);
  }
  return metadata;
}

}  // namespace

template <typename Step>
const std::string& StreamedPictureWriter::attempt(Step step) {
  if (!error_.empty()) return error_;
  std::string problem;
  try {
    problem = step();
  } catch (const std::bad_alloc&) {
    problem = "not enough memory";
  }
  if (!problem.empty()) error_ = path_ + ": " + problem;
  return error_;
}

StreamedPictureWriter::StreamedPictureWriter(const std::string& path, const PixelLayout& layout,
                                             ColorSpacePtr space, const ImageWriteOptions& options)
    : path_(path), layout_(layout), space_(std::move(space)), options_(options) {
  if (!attempt([&] { return whyUnwritable(layout_, options_.format); }).empty()) return;
  file_ = std::make_unique<AtomicFile>(path);
  error_ = file_->error();
  attempt([this] { return create(); });
}

StreamedPictureWriter::~StreamedPictureWriter() = default;

std::string StreamedPictureWriter::create() {
  metadata_ = updated(layout_, options_);
  const EncodeRequest request{layout_, space_->profile(), options_, metadata_, warnings_};
  switch (options_.format) {
    case ImageFormat::png:
      return createPNG(request, file_->descriptor(), encoder_);
    case ImageFormat::jpeg:
      return createJPEG(request, file_->descriptor(), encoder_);
    default:
      return createTIFF(request, file_->descriptor(), encoder_);
  }
}

const std::string& StreamedPictureWriter::write(int64_t firstRow, int64_t rowCount, const uint8_t* bytes,
                                                int64_t bytesPerRow) {
  return attempt([&]() -> std::string {
    if (!encoder_ || firstRow != rowsWritten_ || rowCount > layout_.height - rowsWritten_) {
      return "its rows do not come in their order";
    }
    for (int64_t y = 0; y < rowCount; ++y, ++rowsWritten_) {
      if (std::string problem = encoder_->writeRow(bytes + y * bytesPerRow); !problem.empty()) return problem;
    }
    return {};
  });
}

const std::string& StreamedPictureWriter::finish() {
  if (!encoder_) return error_;
  attempt([this]() -> std::string {
    if (rowsWritten_ < layout_.height) return "rows are missing";
    return encoder_->finish();
  });
  encoder_ = nullptr;
  if (error_.empty()) error_ = file_->commit();
  return error_;
}

}  // namespace vello
