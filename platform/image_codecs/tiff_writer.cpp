#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

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

// Takes the descriptor.
TIFF* open(int descriptor, bool bigTiff, std::string& error) {
  const std::unique_ptr<TIFFOpenOptions, OptionsFreer> options(TIFFOpenOptionsAlloc());
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, &error);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(), [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
  return TIFFFdOpenExt(descriptor, "", bigTiff ? "w8" : "w4", options.get());
}

void setTags(TIFF* tiff, const EncodeRequest& request, const RowPacker& packer) {
  const PixelLayout& layout = request.bitmap.layout();
  const int colors = layout.colorComponents();
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(layout.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(layout.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, packer.bits());
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, packer.components());
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, colors == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  constexpr int64_t kStripBytes = 256 << 10;
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP,
               static_cast<uint32_t>(std::max<int64_t>(1, kStripBytes / packer.rowBytes())));
  if (layout.hasAlpha()) {
    const uint16_t kind = layout.premultiplied() ? EXTRASAMPLE_ASSOCALPHA : EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
  }
  if (request.metadata.dpiX && request.metadata.dpiY) {
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, *request.metadata.dpiX);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, *request.metadata.dpiY);
  }
}

// The library's predictor changes the row it is given: it gets our copy.
bool writeRows(TIFF* tiff, const EncodeRequest& request, const RowPacker& packer) {
  std::vector<uint8_t> row(static_cast<size_t>(packer.rowBytes()));
  for (int64_t y = 0; y < request.bitmap.height(); ++y) {
    packer.pack(y, row.data());
    if (TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y)) < 0) return false;
  }
  return TIFFWriteDirectory(tiff) != 0;
}

std::string write(const EncodeRequest& request, int descriptor, bool bigTiff) {
  const int copy = dup(descriptor);
  if (copy < 0 || ftruncate(descriptor, 0) != 0 || lseek(descriptor, 0, SEEK_SET) != 0) {
    if (copy >= 0) close(copy);
    return "cannot be written";
  }
  std::string error;
  TIFF* tiff = open(copy, bigTiff, error);
  if (!tiff) {
    close(copy);
    return error.empty() ? "cannot be written" : error;
  }
  const RowPacker packer(request.bitmap, false);
  setTags(tiff, request, packer);
  const bool ok = writeRows(tiff, request, packer);
  TIFFClose(tiff);
  if (!ok || !error.empty()) return error.empty() ? "cannot be written" : error;
  return addTiffMetadata(descriptor, request.metadata, request.bitmap.space()->profile());
}

}  // namespace

std::string encodeTIFF(const EncodeRequest& request, int descriptor) {
  const int64_t bytes = RowPacker(request.bitmap, false).rowBytes() * request.bitmap.height();
  constexpr int64_t kClassicLimit = int64_t{1} << 32;
  if (bytes < kClassicLimit) {
    std::string error = write(request, descriptor, false);
    // Noise can grow under compression.
    if (error.empty() || bytes < kClassicLimit / 2) return error;
  }
  return write(request, descriptor, true);
}

}  // namespace vello
