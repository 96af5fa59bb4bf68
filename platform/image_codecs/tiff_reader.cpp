#include <tiffio.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <numeric>

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/tiff_metadata.h"

namespace vello {

namespace {

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

struct OptionsFreer {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

// What libtiff's callbacks work on.
struct TiffInput {
  const ByteSource& source;
  int64_t position = 0;
  std::string error;  // the first one reported
};

tmsize_t readInput(thandle_t handle, void* to, tmsize_t count) {
  auto& input = *static_cast<TiffInput*>(handle);
  const size_t got = input.source.read(input.position, to, static_cast<size_t>(std::max<tmsize_t>(count, 0)));
  input.position += static_cast<int64_t>(got);
  return static_cast<tmsize_t>(got);
}

toff_t seekInput(thandle_t handle, toff_t offset, int whence) {
  auto& input = *static_cast<TiffInput*>(handle);
  const auto moved = static_cast<int64_t>(offset);
  input.position = moved;
  if (whence == SEEK_CUR && __builtin_add_overflow(input.position, moved, &input.position)) return toff_t(-1);
  if (whence == SEEK_END && __builtin_add_overflow(input.source.size(), moved, &input.position)) {
    return toff_t(-1);
  }
  return static_cast<toff_t>(input.position);
}

int keepError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
  auto& input = *static_cast<TiffInput*>(user);
  char text[200];
  std::vsnprintf(text, sizeof text, format, arguments);
  if (input.error.empty()) input.error = text;
  return 1;
}

TiffPtr open(TiffInput& input, const ImageLimits& limits) {
  const std::unique_ptr<TIFFOpenOptions, OptionsFreer> options(TIFFOpenOptionsAlloc());
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), limits.bytes);
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, &input);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(), [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
  // "m": no memory mapping; "O": large strip tables are read when they are needed.
  return TiffPtr(TIFFClientOpenExt(
      "", "rmO", &input, readInput, [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; }, seekInput,
      [](thandle_t) { return 0; },
      [](thandle_t handle) { return static_cast<toff_t>(static_cast<TiffInput*>(handle)->source.size()); },
      nullptr, nullptr, options.get()));
}

struct TiffTags {
  uint32_t width = 0, height = 0;
  uint16_t bits = 1, samples = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG, photometric = 0,
           compression = COMPRESSION_NONE, orientation = 1, inkSet = INKSET_CMYK;
  std::vector<uint16_t> extra;

  explicit TiffTags(TIFF* tiff) {
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_INKSET, &inkSet);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric)) {
      photometric = samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    }
    uint16_t count = 0, *kinds = nullptr;
    if (TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds)) extra.assign(kinds, kinds + count);
    if (format == SAMPLEFORMAT_VOID) format = SAMPLEFORMAT_UINT;
  }
  int colors() const {
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
  // Samples we take as they are; everything else goes through the library's conversion to 8-bit RGBA.
  bool direct() const {
    if (colors() == 0 || samples < colors()) return false;
    if (photometric == PHOTOMETRIC_CIELAB) {
      return (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_INT) && (bits == 8 || bits == 16);
    }
    if (format == SAMPLEFORMAT_IEEEFP) return bits == 16 || bits == 32 || bits == 64;
    if (format != SAMPLEFORMAT_UINT) return false;
    return bits == 8 || bits == 16 || (samples == 1 && (bits == 1 || bits == 2 || bits == 4));
  }
  int resultBits() const { return format == SAMPLEFORMAT_IEEEFP ? 32 : bits == 16 ? 16 : 8; }
};

float halfToFloat(uint16_t half) {
  const int exponent = half >> 10 & 31, mantissa = half & 1023;
  float value = 0;
  if (exponent == 31) {
    value = mantissa ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
  } else if (exponent == 0) {
    value = std::ldexp(static_cast<float>(mantissa), -24);
  } else {
    value = std::ldexp(static_cast<float>(mantissa + 1024), exponent - 25);
  }
  return half & 0x8000 ? -value : value;
}

// One channel of a run of pixels from the file's samples to the bitmap's.
class SampleCopier {
 public:
  SampleCopier(const TiffTags& tags, DecodedImage& image)
      : tags_(tags),
        inverted_(tags.photometric == PHOTOMETRIC_MINISWHITE),
        lab_(tags.photometric == PHOTOMETRIC_CIELAB),
        step_(image.layout.bytesPerPixel()),
        bytes_(image.layout.bitsPerComponent / 8) {}

  // `from` is a run's first pixel, `stride` its samples a pixel; `channel` is of the result.
  void copy(const uint8_t* from, int stride, int sample, int64_t n, int channel, uint8_t* to) const {
    to += channel * bytes_;
    const bool invert = inverted_ && channel == 0;
    const bool opponent = lab_ && (channel == 1 || channel == 2);  // a* or b*, signed
    if (tags_.format == SAMPLEFORMAT_IEEEFP) return copyFloats(from, stride, sample, n, invert, to);
    const int64_t first = sample;
    if (tags_.bits == 8) {
      for (int64_t i = 0; i < n; ++i, to += step_) {
        const uint8_t value = from[i * stride + first];
        *to = invert ? static_cast<uint8_t>(255 - value) : opponent ? value ^ 0x80 : value;
      }
    } else if (tags_.bits == 16) {
      for (int64_t i = 0; i < n; ++i, to += step_) {
        uint16_t value;
        std::memcpy(&value, from + 2 * (i * stride + first), 2);
        if (invert) value = static_cast<uint16_t>(65535 - value);
        if (opponent) value = opponent16(value);
        std::memcpy(to, &value, 2);
      }
    } else {
      copyPacked(from, n, invert, to);
    }
  }

 private:
  // 256ths of a signed unit to our (unit + 128) / 255.
  static uint16_t opponent16(uint16_t value) {
    const int64_t shifted = value ^ 0x8000;
    return static_cast<uint16_t>(std::min<int64_t>((shifted * 65535 + 32640) / 65280, 65535));
  }
  void copyPacked(const uint8_t* from, int64_t n, bool invert, uint8_t* to) const {
    const int bits = tags_.bits, largest = (1 << bits) - 1, perByte = 8 / bits;
    for (int64_t i = 0; i < n; ++i, to += step_) {
      const int shift = 8 - bits - static_cast<int>(i % perByte) * bits;
      const int value = from[i / perByte] >> shift & largest;
      *to = static_cast<uint8_t>((invert ? largest - value : value) * 255 / largest);
    }
  }
  void copyFloats(const uint8_t* from, int stride, int sample, int64_t n, bool invert, uint8_t* to) const {
    for (int64_t i = 0; i < n; ++i, to += step_) {
      const uint8_t* p = from + (i * stride + sample) * (tags_.bits / 8);
      float value = 0;
      if (tags_.bits == 16) {
        uint16_t half;
        std::memcpy(&half, p, sizeof half);
        value = halfToFloat(half);
      } else if (tags_.bits == 32) {
        std::memcpy(&value, p, sizeof value);
      } else {
        double wide;
        std::memcpy(&wide, p, sizeof wide);
        value = static_cast<float>(wide);
      }
      if (invert) value = 1 - value;
      std::memcpy(to, &value, sizeof value);
    }
  }

  const TiffTags& tags_;
  bool inverted_, lab_;
  int64_t step_, bytes_;
};

// Reads strips or tiles, together or one plane after another, into the channels of the result.
class DirectReader {
 public:
  DirectReader(TIFF* tiff, const TiffTags& tags, std::vector<int> samples, DecodedImage& image)
      : tiff_(tiff),
        separate_(tags.planar == PLANARCONFIG_SEPARATE && tags.samples > 1),
        stride_(separate_ ? 1 : tags.samples),
        samples_(std::move(samples)),
        image_(image),
        copier_(tags, image) {}

  std::string read(const ImageLimits& limits) {
    const bool tiled = TIFFIsTiled(tiff_);
    const uint64_t size = tiled ? TIFFTileSize64(tiff_) : TIFFScanlineSize64(tiff_);
    if (size == 0 || size > static_cast<uint64_t>(limits.bytes)) return "its strips or tiles are too large";
    buffer_.resize(size);
    for (size_t k = 0; k < (separate_ ? samples_.size() : 1); ++k) {
      if (!(tiled ? readTiles(k) : readRows(k))) return "the file is truncated or damaged";
    }
    return {};
  }

 private:
  void copy(const uint8_t* from, int64_t n, size_t plane, uint8_t* to) const {
    if (separate_) return copier_.copy(from, stride_, 0, n, static_cast<int>(plane), to);
    for (size_t k = 0; k < samples_.size(); ++k) {
      copier_.copy(from, stride_, samples_[k], n, static_cast<int>(k), to);
    }
  }
  uint16_t planeOf(size_t k) const { return static_cast<uint16_t>(separate_ ? samples_[k] : 0); }

  bool readRows(size_t plane) {
    for (int64_t y = 0; y < image_.layout.height; ++y) {
      if (TIFFReadScanline(tiff_, buffer_.data(), static_cast<uint32_t>(y), planeOf(plane)) < 0) return false;
      copy(buffer_.data(), image_.layout.width, plane, image_.row(y));
    }
    return true;
  }

  bool readTiles(size_t plane) {
    uint32_t tileWidth = 0, tileHeight = 0;
    TIFFGetField(tiff_, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tiff_, TIFFTAG_TILELENGTH, &tileHeight);
    const auto rowBytes = static_cast<int64_t>(TIFFTileRowSize64(tiff_));
    if (tileWidth == 0 || tileHeight == 0 || rowBytes == 0) return false;
    const int64_t width = image_.layout.width, height = image_.layout.height;
    for (int64_t top = 0; top < height; top += tileHeight) {
      for (int64_t left = 0; left < width; left += tileWidth) {
        if (TIFFReadTile(tiff_, buffer_.data(), static_cast<uint32_t>(left), static_cast<uint32_t>(top), 0,
                         planeOf(plane)) < 0) {
          return false;
        }
        const int64_t n = std::min<int64_t>(tileWidth, width - left);
        const int64_t rows = std::min<int64_t>(tileHeight, height - top);
        for (int64_t y = 0; y < rows; ++y) {
          copy(buffer_.data() + y * rowBytes, n, plane,
               image_.row(top + y) + left * image_.layout.bytesPerPixel());
        }
      }
    }
    return true;
  }

  TIFF* tiff_;
  bool separate_;
  int stride_;
  std::vector<int> samples_;  // of the file, in the result's order
  DecodedImage& image_;
  SampleCopier copier_;
  std::vector<uint8_t> buffer_;
};

std::string readDirect(TIFF* tiff, const TiffTags& tags, const DecodeRequest& request, DecodedImage& image) {
  std::vector<int> samples(static_cast<size_t>(tags.colors()));
  std::iota(samples.begin(), samples.end(), 0);
  AlphaInfo alpha = AlphaInfo::none;
  for (size_t i = 0; i < tags.extra.size() && alpha == AlphaInfo::none; ++i) {
    const int sample = tags.colors() + static_cast<int>(i);
    if (sample >= tags.samples) break;
    if (tags.extra[i] == EXTRASAMPLE_ASSOCALPHA) alpha = AlphaInfo::premultipliedLast;
    if (tags.extra[i] == EXTRASAMPLE_UNASSALPHA) alpha = AlphaInfo::last;
    if (alpha != AlphaInfo::none) samples.push_back(sample);
  }
  if (std::string error =
          image.setSize(request.limits, tags.width, tags.height, tags.resultBits(), tags.colors(), alpha);
      !error.empty() || request.headerOnly) {
    return error;
  }
  if (image.layout.isFloat && tags.colors() != 4) {
    // Floating point pictures without a profile hold light.
    image.untaggedSpace = ColorSpace::named(tags.colors() == 1 ? "linear gray" : "linear sRGB");
  }
  if (tags.photometric == PHOTOMETRIC_CIELAB) image.untaggedSpace = ColorSpace::named("CIE Lab");
  image.allocate();
  return DirectReader(tiff, tags, std::move(samples), image).read(request.limits);
}

// The library's rows as they are stored: orientation is applied by our caller for all formats alike.
std::string readConverted(TIFF* tiff, const TiffTags& tags, const DecodeRequest& request,
                          DecodedImage& image) {
  char reason[1024] = "";
  if (tags.format != SAMPLEFORMAT_UINT || !TIFFRGBAImageOK(tiff, reason)) {
    return "this kind of TIFF is not supported" + (*reason ? std::string(" (") + reason + ")" : "");
  }
  TIFFRGBAImage converter;
  constexpr int kStopOnError = 1;
  if (!TIFFRGBAImageBegin(&converter, tiff, kStopOnError, reason)) return reason;
  converter.req_orientation = converter.orientation;
  std::string error = image.setSize(request.limits, tags.width, tags.height, 8, 3,
                                    converter.alpha ? AlphaInfo::premultipliedLast : AlphaInfo::noneSkipLast);
  if (error.empty() && !request.headerOnly) {
    try {
      image.allocate();
      // RGBA bytes on either kind of machine, or their reverse: the library packs them into a number.
      image.layout.pixelBytesReversed = std::endian::native == std::endian::big;
      if (!TIFFRGBAImageGet(&converter, reinterpret_cast<uint32_t*>(image.pixels.get()), tags.width,
                            tags.height)) {
        error = "the file is truncated or damaged";
      }
    } catch (const std::bad_alloc&) {
      error = "not enough memory";
    }
  }
  TIFFRGBAImageEnd(&converter);
  return error;
}

void readProfile(TIFF* tiff, DecodedImage& image) {
  uint32_t size = 0;
  void* bytes = nullptr;
  if (!TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &bytes)) return;
  image.profile.assign(static_cast<uint8_t*>(bytes), static_cast<uint8_t*>(bytes) + size);
}

std::string readMetadata(const ByteSource& source, DecodedImage& image) {
  const auto header = readTiffHeader(source);
  if (!header) return {};
  const auto directory = readTiffDirectory(source, header->format, header->firstDirectory);
  if (!directory) return {};
  for (const uint16_t tag : directory->unreadable) {
    // Without its profile a picture would have other colours.
    if (tag == TIFFTAG_ICCPROFILE) return "the file is truncated: its colour profile is missing";
    image.warnings.push_back("tag " + std::to_string(tag) + " cannot be read and is left out");
  }
  image.metadata = readTiffMetadata(*directory);
  return {};
}

}  // namespace

std::string decodeTIFF(const DecodeRequest& request, DecodedImage& image) {
  TiffInput input{request.source, 0, {}};
  const TiffPtr tiff = open(input, request.limits);
  const auto withReason = [&](const std::string& error) {
    return input.error.empty() ? error : error + " (" + input.error + ")";
  };
  if (!tiff) return withReason("the file is truncated or damaged");
  const TiffTags tags(tiff.get());
  if (tags.orientation >= 1 && tags.orientation <= 8) image.orientation = tags.orientation;
  if (!TIFFIsCODECConfigured(tags.compression)) {
    return "compression " + std::to_string(tags.compression) + " is not supported";
  }
  const std::string error = tags.direct() ? readDirect(tiff.get(), tags, request, image)
                                          : readConverted(tiff.get(), tags, request, image);
  if (!error.empty()) return withReason(error);
  if (std::string missing = readMetadata(request.source, image); !missing.empty()) return missing;
  if (!request.headerOnly && !(tags.photometric == PHOTOMETRIC_CIELAB)) readProfile(tiff.get(), image);
  return {};
}

}  // namespace vello
