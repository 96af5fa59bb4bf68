#include "platform/image_codecs/tiff_file.h"

#include <algorithm>
#include <cstdio>

namespace vello {

TiffTags::TiffTags(TIFF* tiff) {
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_INKSET, &inkSet);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &fillOrder);
  if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric)) {
    photometric = samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  }
  uint16_t count = 0, *kinds = nullptr;
  if (TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds)) extra.assign(kinds, kinds + count);
  if (format == SAMPLEFORMAT_VOID) format = SAMPLEFORMAT_UINT;
}

int TiffTags::colors() const {
  switch (photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      return 1;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_RGB:
      return 3;
    case PHOTOMETRIC_SEPARATED:
      return inkSet == INKSET_CMYK ? 4 : 0;
    default:
      return 0;
  }
}

bool TiffTags::direct() const {
  if (colors() == 0 || samples < colors()) return false;
  if (photometric == PHOTOMETRIC_CIELAB) {
    return (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_INT) && (bits == 8 || bits == 16);
  }
  if (format == SAMPLEFORMAT_IEEEFP) return bits == 16 || bits == 32 || bits == 64;
  if (format != SAMPLEFORMAT_UINT) return false;
  return bits == 8 || bits == 16 || (samples == 1 && (bits == 1 || bits == 2 || bits == 4));
}

tmsize_t TiffFile::read(thandle_t handle, void* to, tmsize_t count) {
  auto& file = *static_cast<TiffFile*>(handle);
  const size_t got = file.source_.read(file.position_, to, static_cast<size_t>(std::max<tmsize_t>(count, 0)));
  file.position_ += static_cast<int64_t>(got);
  return static_cast<tmsize_t>(got);
}

toff_t TiffFile::seek(thandle_t handle, toff_t offset, int whence) {
  auto& file = *static_cast<TiffFile*>(handle);
  const auto moved = static_cast<int64_t>(offset);
  const int64_t from = whence == SEEK_CUR ? file.position_ : whence == SEEK_END ? file.source_.size() : 0;
  if (__builtin_add_overflow(from, moved, &file.position_)) return toff_t(-1);
  return static_cast<toff_t>(file.position_);
}

int TiffFile::keepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
  auto& file = *static_cast<TiffFile*>(user);
  char text[200];
  std::vsnprintf(text, sizeof text, format, arguments);
  if (file.error_.empty()) file.error_ = text;
  return 1;
}

namespace {

struct OptionsFreer {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

}  // namespace

TiffFile::TiffFile(const ByteSource& source, int64_t memory) : source_(source) {
  const std::unique_ptr<TIFFOpenOptions, OptionsFreer> options(TIFFOpenOptionsAlloc());
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), memory);
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, this);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(), [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
  // "m": no memory mapping; "O": large strip tables are read when they are needed.
  handle_.reset(TIFFClientOpenExt(
      "", "rmO", this, read, [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; }, seek,
      [](thandle_t) { return 0; },
      [](thandle_t handle) { return static_cast<toff_t>(static_cast<TiffFile*>(handle)->source_.size()); },
      nullptr, nullptr, options.get()));
}

}  // namespace vello
