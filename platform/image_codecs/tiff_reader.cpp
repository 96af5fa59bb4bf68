#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <optional>

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/tiff_file.h"
#include "platform/image_codecs/tiff_metadata.h"
#include "platform/image_codecs/tiff_samples.h"

namespace vello {

namespace {

constexpr const char* kDamaged = "the file is truncated or damaged";

// Samples as they are, strips or tiles, together or each plane for itself.
class DirectDecoder : public PictureDecoder {
 public:
  DirectDecoder(std::unique_ptr<TiffFile> file, const TiffTags& tags, std::vector<int> samples,
                DecodedImage& image)
      : tags_(tags),
        samples_(std::move(samples)),
        image_(image),
        copier_(tags_, image),
        asTheyAre_(isPlain(tags, samples_)) {
    files_.push_back(std::move(file));
  }

 protected:
  size_t planes() const { return tags_.separate() ? samples_.size() : 1; }
  uint16_t planeOf(size_t k) const { return static_cast<uint16_t>(tags_.separate() ? samples_[k] : 0); }
  std::string damaged(size_t file) const { return files_[file]->withReason(kDamaged); }
  // The file's samples are the result's.
  bool asTheyAre() const { return asTheyAre_ && !tags_.separate(); }
  // Of the plane, or of all channels.
  void copy(const uint8_t* from, int64_t n, size_t plane, uint8_t* to) const {
    if (tags_.separate()) return copier_.copy(from, 1, 0, n, static_cast<int>(plane), to);
    if (asTheyAre()) {
      std::memcpy(to, from, static_cast<size_t>(n * image_.layout.bytesPerPixel()));
      return;
    }
    for (size_t k = 0; k < samples_.size(); ++k) {
      copier_.copy(from, tags_.samples, samples_[k], n, static_cast<int>(k), to);
    }
  }

  std::vector<std::unique_ptr<TiffFile>> files_;
  const TiffTags tags_;
  const std::vector<int> samples_;  // of the file, in the result's order
  DecodedImage& image_;
  std::vector<uint8_t> buffer_;

 private:
  static bool isPlain(const TiffTags& tags, const std::vector<int>& samples) {
    const bool same = tags.format == SAMPLEFORMAT_UINT && (tags.bits == 8 || tags.bits == 16);
    return same && samples.size() == tags.samples && tags.photometric != PHOTOMETRIC_MINISWHITE &&
           tags.photometric != PHOTOMETRIC_CIELAB;
  }
  const TiffSampleCopier copier_;
  const bool asTheyAre_;
};

// Every plane has a handle of its own, so that each reads its strips from the first row to the last. Rows
// that are not compressed are read without the library, which takes whole strips and copies them.
class StripDecoder final : public DirectDecoder {
 public:
  using DirectDecoder::DirectDecoder;
  std::string start(const DecodeRequest& request);
  int64_t heldBytes() const override { return isCompressed() ? largestStrip_ * int64_t(planes()) : 0; }
  std::string decode(int64_t rows) override;

 private:
  bool isCompressed() const { return tags_.compression != COMPRESSION_NONE; }
  std::optional<int64_t> placeOf(int64_t row, size_t plane) const;
  int64_t adjoiningRows(int64_t end) const;
  bool readUncompressed(size_t plane, int64_t rows, uint8_t* to) const;
  bool readRows(size_t plane, int64_t rows);

  int64_t largestStrip_ = 0, rowsPerStrip_ = 0;
};

std::string StripDecoder::start(const DecodeRequest& request) {
  TIFF* tiff = files_[0]->handle();
  const uint64_t size = TIFFScanlineSize64(tiff);
  if (size == 0 || size > static_cast<uint64_t>(request.memory)) return "its strips are too large";
  buffer_.resize(size);
  uint32_t rowsPerStrip = 0;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
  rowsPerStrip_ = std::clamp<int64_t>(rowsPerStrip, 1, image_.layout.height);
  constexpr int64_t kLargeStrip = int64_t{4} << 20;
  if (__builtin_mul_overflow(rowsPerStrip_, static_cast<int64_t>(size), &largestStrip_)) {
    return "its strips are too large";
  }
  // Compressed, it can be as long as it likes, but not longer than the file.
  largestStrip_ = std::min(largestStrip_, request.source.size());
  if (largestStrip_ < kLargeStrip) largestStrip_ = 0;
  while (files_.size() < planes()) {
    files_.push_back(std::make_unique<TiffFile>(request.source, request.memory));
    if (!files_.back()->handle()) return damaged(files_.size() - 1);
  }
  return {};
}

// In the file; nothing when its strip does not hold the row.
std::optional<int64_t> StripDecoder::placeOf(int64_t row, size_t plane) const {
  TIFF* tiff = files_[plane]->handle();
  const uint32_t strip = TIFFComputeStrip(tiff, static_cast<uint32_t>(row), planeOf(plane));
  const auto rowBytes = static_cast<int64_t>(buffer_.size());
  const int64_t inStrip = row % rowsPerStrip_ * rowBytes;
  const uint64_t begin = TIFFGetStrileOffset(tiff, strip), length = TIFFGetStrileByteCount(tiff, strip);
  if (begin > static_cast<uint64_t>(files_[plane]->source().size())) return std::nullopt;
  if (length < static_cast<uint64_t>(inStrip + rowBytes)) return std::nullopt;
  return static_cast<int64_t>(begin) + inStrip;
}

// From the first that is not finished; what lies together in the file is read at once.
int64_t StripDecoder::adjoiningRows(int64_t end) const {
  const std::optional<int64_t> first = placeOf(finishedRows_, 0);
  const auto rowBytes = static_cast<int64_t>(buffer_.size());
  int64_t rows = 1;
  while (first && finishedRows_ + rows < end && placeOf(finishedRows_ + rows, 0) == *first + rows * rowBytes)
    ++rows;
  return rows;
}

// Does to the samples what the library would do.
bool StripDecoder::readUncompressed(size_t plane, int64_t rows, uint8_t* to) const {
  const std::optional<int64_t> place = placeOf(finishedRows_, plane);
  const auto bytes = rows * static_cast<int64_t>(buffer_.size());
  const auto wanted = static_cast<size_t>(bytes);
  if (!place || files_[plane]->source().read(*place, to, wanted) != wanted) return false;
  if (tags_.fillOrder == FILLORDER_LSB2MSB) TIFFReverseBits(to, bytes);
  if (!TIFFIsByteSwapped(files_[plane]->handle())) return true;
  if (tags_.bits == 16) TIFFSwabArrayOfShort(reinterpret_cast<uint16_t*>(to), bytes / 2);
  if (tags_.bits == 32) TIFFSwabArrayOfLong(reinterpret_cast<uint32_t*>(to), bytes / 4);
  if (tags_.bits == 64) TIFFSwabArrayOfDouble(reinterpret_cast<double*>(to), bytes / 8);
  return true;
}

bool StripDecoder::readRows(size_t plane, int64_t rows) {
  uint8_t* const target = image_.row(finishedRows_);
  uint8_t* const to = asTheyAre() ? target : buffer_.data();
  const bool ok = isCompressed() ? TIFFReadScanline(files_[plane]->handle(), to,
                                                    static_cast<uint32_t>(finishedRows_), planeOf(plane)) >= 0
                                 : readUncompressed(plane, rows, to);
  if (ok && to != target) copy(to, image_.layout.width, plane, target);
  return ok;
}

std::string StripDecoder::decode(int64_t rows) {
  const int64_t end = std::min(finishedRows_ + rows, image_.layout.height);
  while (finishedRows_ < end) {
    const int64_t together = asTheyAre() && !isCompressed() ? adjoiningRows(end) : 1;
    for (size_t k = 0; k < planes(); ++k) {
      if (!readRows(k, together)) return damaged(k);
    }
    finishedRows_ += together;
  }
  return {};
}

// A row of tiles at a time.
class TileDecoder final : public DirectDecoder {
 public:
  using DirectDecoder::DirectDecoder;
  std::string start(const DecodeRequest& request);
  int64_t rowsTogether() const override { return std::min<int64_t>(tileHeight_, image_.layout.height); }
  std::string decode(int64_t) override;

 private:
  bool readTile(int64_t left, int64_t rows, size_t plane);

  uint32_t tileWidth_ = 0, tileHeight_ = 0;
  int64_t tileRowBytes_ = 0;
};

std::string TileDecoder::start(const DecodeRequest& request) {
  TIFF* tiff = files_[0]->handle();
  const uint64_t size = TIFFTileSize64(tiff);
  if (size == 0 || size > static_cast<uint64_t>(request.memory)) return "its tiles are too large";
  TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth_);
  TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight_);
  tileRowBytes_ = static_cast<int64_t>(TIFFTileRowSize64(tiff));
  if (tileWidth_ == 0 || tileHeight_ == 0 || tileRowBytes_ == 0) return damaged(0);
  buffer_.resize(size);
  return {};
}

bool TileDecoder::readTile(int64_t left, int64_t rows, size_t plane) {
  if (TIFFReadTile(files_[0]->handle(), buffer_.data(), static_cast<uint32_t>(left),
                   static_cast<uint32_t>(finishedRows_), 0, planeOf(plane)) < 0) {
    return false;
  }
  const int64_t n = std::min<int64_t>(tileWidth_, image_.layout.width - left);
  for (int64_t y = 0; y < rows; ++y) {
    copy(buffer_.data() + y * tileRowBytes_, n, plane,
         image_.row(finishedRows_ + y) + left * image_.layout.bytesPerPixel());
  }
  return true;
}

std::string TileDecoder::decode(int64_t) {
  const int64_t rows = std::min<int64_t>(tileHeight_, image_.layout.height - finishedRows_);
  for (size_t plane = 0; plane < planes(); ++plane) {
    for (int64_t left = 0; left < image_.layout.width; left += tileWidth_) {
      if (!readTile(left, rows, plane)) return damaged(0);
    }
  }
  finishedRows_ += rows;
  return {};
}

std::string openDirect(std::unique_ptr<TiffFile> file, const TiffTags& tags, const DecodeRequest& request,
                       DecodedImage& image, DecoderPtr& decoder) {
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
  const auto start = [&](auto made) {
    std::string error = made->start(request);
    if (error.empty()) decoder = std::move(made);
    return error;
  };
  return TIFFIsTiled(file->handle())
             ? start(std::make_unique<TileDecoder>(std::move(file), tags, std::move(samples), image))
             : start(std::make_unique<StripDecoder>(std::move(file), tags, std::move(samples), image));
}

// The library's rows as they are stored: orientation is applied by our caller for all formats alike.
class ConvertedDecoder final : public PictureDecoder {
 public:
  ConvertedDecoder(std::unique_ptr<TiffFile> file, DecodedImage& image)
      : file_(std::move(file)), image_(image) {}
  ~ConvertedDecoder() override {
    if (begun_) TIFFRGBAImageEnd(&converter_);
  }
  std::string start(const DecodeRequest& request, const TiffTags& tags);
  int64_t rowsTogether() const override { return rowsTogether_; }
  std::string decode(int64_t) override;

 private:
  std::unique_ptr<TiffFile> file_;
  DecodedImage& image_;
  TIFFRGBAImage converter_ = {};
  bool begun_ = false;
  int64_t rowsTogether_ = 1;  // of a strip or tile
};

std::string ConvertedDecoder::start(const DecodeRequest& request, const TiffTags& tags) {
  TIFF* tiff = file_->handle();
  char reason[1024] = "";
  if (tags.format != SAMPLEFORMAT_UINT || !TIFFRGBAImageOK(tiff, reason)) {
    return "this kind of TIFF is not supported" + (*reason ? std::string(" (") + reason + ")" : "");
  }
  constexpr int kStopOnError = 1;
  begun_ = TIFFRGBAImageBegin(&converter_, tiff, kStopOnError, reason);
  if (!begun_) return reason;
  converter_.req_orientation = converter_.orientation;
  uint32_t rows = 0;
  TIFFGetFieldDefaulted(tiff, TIFFIsTiled(tiff) ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, &rows);
  rowsTogether_ = std::clamp<int64_t>(rows, 1, std::max<int64_t>(1, tags.height));
  // RGBA bytes on either kind of machine, or their reverse: the library packs them into a number.
  std::string error =
      image_.setSize(request.limits, tags.width, tags.height, 8, 3,
                     converter_.alpha ? AlphaInfo::premultipliedLast : AlphaInfo::noneSkipLast);
  image_.layout.pixelBytesReversed = std::endian::native == std::endian::big;
  return error;
}

std::string ConvertedDecoder::decode(int64_t) {
  const int64_t rows = std::min(rowsTogether_, image_.layout.height - finishedRows_);
  converter_.row_offset = static_cast<int>(finishedRows_);
  if (!TIFFRGBAImageGet(&converter_, reinterpret_cast<uint32_t*>(image_.row(finishedRows_)),
                        static_cast<uint32_t>(image_.layout.width), static_cast<uint32_t>(rows))) {
    return file_->withReason(kDamaged);
  }
  finishedRows_ += rows;
  return {};
}

std::string openConverted(std::unique_ptr<TiffFile> file, const TiffTags& tags, const DecodeRequest& request,
                          DecodedImage& image, DecoderPtr& decoder) {
  auto made = std::make_unique<ConvertedDecoder>(std::move(file), image);
  std::string error = made->start(request, tags);
  if (error.empty() && !request.headerOnly) decoder = std::move(made);
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
    // Without its profile or palette a picture would have other colours.
    if (tag == TIFFTAG_ICCPROFILE) return "the file is truncated: its colour profile is missing";
    if (tag == TIFFTAG_COLORMAP) return "the file is truncated: its palette is missing";
    image.warnings.push_back("tag " + std::to_string(tag) + " cannot be read and is left out");
  }
  image.metadata = readTiffMetadata(*directory);
  return {};
}

}  // namespace

std::string openTIFF(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder) {
  auto file = std::make_unique<TiffFile>(request.source, request.memory);
  if (!file->handle()) return file->withReason(kDamaged);
  const TiffTags tags(file->handle());
  if (tags.orientation >= 1 && tags.orientation <= 8) image.orientation = tags.orientation;
  if (!TIFFIsCODECConfigured(tags.compression)) {
    return "compression " + std::to_string(tags.compression) + " is not supported";
  }
  if (!request.headerOnly && tags.photometric != PHOTOMETRIC_CIELAB) readProfile(file->handle(), image);
  std::string error = tags.direct() ? openDirect(std::move(file), tags, request, image, decoder)
                                    : openConverted(std::move(file), tags, request, image, decoder);
  if (!error.empty()) return error;
  std::string problem = readMetadata(request.source, image);
  image.metadata.uncompressed = tags.compression == COMPRESSION_NONE;
  return problem;
}

}  // namespace vello
