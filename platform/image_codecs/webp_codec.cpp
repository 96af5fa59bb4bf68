#include <webp/decode.h>

#include <cstring>

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/metadata_blocks.h"

namespace vello {

namespace {

uint32_t little32(const uint8_t* p) {
  return p[0] | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// The chunks of the RIFF container: a name, a size, data padded to even length.
std::span<const uint8_t> findChunk(std::span<const uint8_t> file, const char* name) {
  constexpr size_t kContainerHeader = 12, kChunkHeader = 8;
  std::span<const uint8_t> rest = file.subspan(std::min(file.size(), kContainerHeader));
  while (rest.size() >= kChunkHeader) {
    const size_t size = little32(rest.data() + 4);
    if (size > rest.size() - kChunkHeader) return {};
    if (std::memcmp(rest.data(), name, 4) == 0) return rest.subspan(kChunkHeader, size);
    rest = rest.subspan(std::min(rest.size(), kChunkHeader + size + size % 2));
  }
  return {};
}

Bytes chunk(const Bytes& file, const char* name) {
  const std::span<const uint8_t> found = findChunk(file, name);
  return Bytes(found.begin(), found.end());
}

void readMetadata(const Bytes& file, DecodedImage& image) {
  image.profile = chunk(file, "ICCP");
  image.metadata.xmp = chunk(file, "XMP ");
  Bytes exif = chunk(file, "EXIF");
  constexpr size_t kJPEGHeader = 6;  // some writers keep JPEG's "Exif\0\0"
  if (exif.size() > kJPEGHeader && std::memcmp(exif.data(), "Exif", 4) == 0) {
    exif.erase(exif.begin(), exif.begin() + kJPEGHeader);
  }
  image.metadata.exif = std::move(exif);
}

const char* reasonOf(VP8StatusCode status) {
  switch (status) {
    case VP8_STATUS_OUT_OF_MEMORY:
      return "not enough memory";
    case VP8_STATUS_NOT_ENOUGH_DATA:
      return "the file is truncated";
    case VP8_STATUS_UNSUPPORTED_FEATURE:
      return "it uses a feature that is not supported";
    default:
      return "the picture's data are damaged";
  }
}

// The library decodes the picture in one go.
class WebPDecoder final : public PictureDecoder {
 public:
  WebPDecoder(DecodedImage& image, Bytes file, const ::WebPDecoderConfig& config)
      : image_(image), file_(std::move(file)), config_(config) {}
  int64_t rowsTogether() const override { return image_.layout.height; }
  std::string decode(int64_t) override {
    config_.output.colorspace = image_.layout.hasAlpha() ? MODE_RGBA : MODE_RGB;
    config_.output.is_external_memory = 1;
    config_.output.u.RGBA.rgba = image_.pixels.get();
    config_.output.u.RGBA.stride = static_cast<int>(image_.layout.bytesPerRow);
    config_.output.u.RGBA.size = static_cast<size_t>(image_.layout.bytesPerRow * image_.layout.height);
    const VP8StatusCode status = WebPDecode(file_.data(), file_.size(), &config_);
    if (status != VP8_STATUS_OK) return reasonOf(status);
    finishedRows_ = image_.layout.height;
    return {};
  }

 private:
  DecodedImage& image_;
  Bytes file_;
  ::WebPDecoderConfig config_;
};

}  // namespace

std::string openWebP(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder) {
  // The container's size field has 32 bits.
  if (request.source.size() > int64_t{UINT32_MAX} || request.source.size() > request.memory) {
    return "the file is too large";
  }
  Bytes file(static_cast<size_t>(request.source.size()));
  file.resize(request.source.read(0, file.data(), file.size()));
  WebPDecoderConfig config;
  if (!WebPInitDecoderConfig(&config)) return "the library has another version";
  const VP8StatusCode status = WebPGetFeatures(file.data(), file.size(), &config.input);
  if (status != VP8_STATUS_OK) return reasonOf(status);
  if (config.input.has_animation) return "animated pictures are not supported";
  const bool alpha = config.input.has_alpha;
  if (std::string error = image.setSize(request.limits, config.input.width, config.input.height, 8, 3,
                                        alpha ? AlphaInfo::last : AlphaInfo::none);
      !error.empty()) {
    return error;
  }
  readMetadata(file, image);
  if (!request.headerOnly) decoder = std::make_unique<WebPDecoder>(image, std::move(file), config);
  return {};
}

}  // namespace vello
