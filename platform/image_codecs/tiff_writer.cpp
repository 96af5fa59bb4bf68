#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/tiff_metadata.h"

namespace vello {

namespace {

struct OptionsFreer {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

int keepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
  char text[200];
  std::vsnprintf(text, sizeof text, format, arguments);
  auto& error = *static_cast<std::string*>(user);
  if (error.empty()) error = text;
  return 1;
}

// Takes the descriptor. The file's offsets have 64 bits until its length is known.
TIFF* open(int descriptor, std::string& error) {
  const std::unique_ptr<TIFFOpenOptions, OptionsFreer> options(TIFFOpenOptionsAlloc());
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, &error);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(), [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
  return TIFFFdOpenExt(descriptor, "", "w8", options.get());
}

class TiffEncoder final : public PictureEncoder {
 public:
  explicit TiffEncoder(const EncodeRequest& request)
      : metadata_(request.metadata),
        profile_(request.profile),
        packer_(request.layout, false),
        row_(static_cast<size_t>(packer_.rowBytes())) {}
  ~TiffEncoder() override {
    if (tiff_) TIFFClose(tiff_);
  }
  std::string start(const EncodeRequest& request, int descriptor);
  std::string writeRow(const uint8_t* row) override;
  std::string finish() override;

 private:
  void setTags(const PixelLayout& layout);
  std::string problem() const { return error_.empty() ? "cannot be written" : error_; }

  const ImageMetadata& metadata_;
  const Data& profile_;
  const RowPacker packer_;
  std::vector<uint8_t> row_;
  int descriptor_ = -1;
  std::string error_;  // the library's first
  TIFF* tiff_ = nullptr;
  uint32_t y_ = 0;
};

std::string TiffEncoder::start(const EncodeRequest& request, int descriptor) {
  descriptor_ = descriptor;
  const int copy = dup(descriptor);
  if (copy < 0) return "cannot be written";
  tiff_ = open(copy, error_);
  if (!tiff_) {
    close(copy);
    return problem();
  }
  setTags(request.layout);
  return {};
}

void TiffEncoder::setTags(const PixelLayout& layout) {
  const int colors = layout.colorComponents();
  TIFFSetField(tiff_, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(layout.width));
  TIFFSetField(tiff_, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(layout.height));
  TIFFSetField(tiff_, TIFFTAG_BITSPERSAMPLE, packer_.bits());
  TIFFSetField(tiff_, TIFFTAG_SAMPLESPERPIXEL, packer_.components());
  TIFFSetField(tiff_, TIFFTAG_PHOTOMETRIC, colors == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff_, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff_, TIFFTAG_COMPRESSION, metadata_.uncompressed ? COMPRESSION_NONE : COMPRESSION_LZW);
  if (!metadata_.uncompressed) TIFFSetField(tiff_, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(tiff_, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  constexpr int64_t kStripBytes = 256 << 10;
  TIFFSetField(tiff_, TIFFTAG_ROWSPERSTRIP,
               static_cast<uint32_t>(std::max<int64_t>(1, kStripBytes / packer_.rowBytes())));
  if (layout.hasAlpha()) {
    const uint16_t kind = layout.premultiplied() ? EXTRASAMPLE_ASSOCALPHA : EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff_, TIFFTAG_EXTRASAMPLES, 1, &kind);
  }
  if (metadata_.dpiX && metadata_.dpiY) {
    TIFFSetField(tiff_, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tiff_, TIFFTAG_XRESOLUTION, *metadata_.dpiX);
    TIFFSetField(tiff_, TIFFTAG_YRESOLUTION, *metadata_.dpiY);
  }
}

// The library's predictor changes the row it is given: it gets our copy.
std::string TiffEncoder::writeRow(const uint8_t* row) {
  packer_.pack(row, row_.data());
  return TIFFWriteScanline(tiff_, row_.data(), y_++) < 0 ? problem() : "";
}

std::string TiffEncoder::finish() {
  const bool ok = TIFFWriteDirectory(tiff_) != 0;
  TIFFClose(std::exchange(tiff_, nullptr));
  return ok && error_.empty() ? addTiffMetadata(descriptor_, metadata_, profile_) : problem();
}

}  // namespace

std::string createTIFF(const EncodeRequest& request, int descriptor, EncoderPtr& encoder) {
  auto made = std::make_unique<TiffEncoder>(request);
  std::string error = made->start(request, descriptor);
  if (error.empty()) encoder = std::move(made);
  return error;
}

}  // namespace vello
