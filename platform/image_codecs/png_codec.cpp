#include <png.h>

#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/metadata_blocks.h"
#include "platform/image_codecs/png_chunks.h"

namespace vello {

namespace {

constexpr char kXMPKeyword[] = "XML:com.adobe.xmp";
constexpr char kIPTCKeyword[] = "Raw profile type iptc";
constexpr double kMetresPerInch = 0.0254;

// Libpng reports errors by a jump: between guarded() and the jump's origin nothing with a destructor may
// live.
struct PNGState {
  std::jmp_buf jump;
  char error[200] = "";
  bool profileRefused = false;
  const ByteSource* source = nullptr;
  int64_t position = 0;
  std::FILE* file = nullptr;
  png_structp png = nullptr;
  png_infop info = nullptr;
  bool writing = false;

  PNGState() = default;
  PNGState(const PNGState&) = delete;
  PNGState& operator=(const PNGState&) = delete;
  ~PNGState() {
    if (writing) {
      png_destroy_write_struct(&png, &info);
    } else {
      png_destroy_read_struct(&png, &info, nullptr);
    }
  }
};

[[noreturn]] void onError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PNGState*>(png_get_error_ptr(png));
  std::snprintf(state->error, sizeof state->error, "%s", message);
  std::longjmp(state->jump, 1);
}

void onWarning(png_structp png, png_const_charp message) {
  if (std::strncmp(message, "iCCP", 4) == 0) {
    static_cast<PNGState*>(png_get_error_ptr(png))->profileRefused = true;
  }
}

void onRead(png_structp png, png_bytep to, size_t count) {
  auto* state = static_cast<PNGState*>(png_get_io_ptr(png));
  if (state->source->read(state->position, to, count) != count) png_error(png, "the file is truncated");
  state->position += static_cast<int64_t>(count);
}

// Libpng believes what a chunk says of its length. No row and no block that we want is as long as this.
png_voidp allocate(png_structp, png_alloc_size_t count) {
  constexpr png_alloc_size_t kLongest = png_alloc_size_t{32} << 20;
  return count <= kLongest ? std::malloc(count) : nullptr;
}

// False when libpng found an error.
template <typename Step>
bool guarded(PNGState& state, Step step) {
  if (setjmp(state.jump)) return false;
  step(state);
  return true;
}

void readHeader(PNGState& state) {
  png_set_read_fn(state.png, &state, onRead);
  png_set_user_limits(state.png, 0x7fffffff, 0x7fffffff);  // ours are checked below
  // Compressed texts and profiles unfold to a thousand times their size: few of them, and none too long.
  png_set_chunk_malloc_max(state.png, png_alloc_size_t{16} << 20);
  png_set_chunk_cache_max(state.png, 20);
  constexpr png_byte kPlainText[] = "tEXt";
  png_set_keep_unknown_chunks(state.png, PNG_HANDLE_CHUNK_NEVER, kPlainText, 1);
  png_set_option(state.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
  png_read_info(state.png, state.info);
  png_set_expand(state.png);
}

std::string setSize(const PNGState& state, const ImageLimits& limits, DecodedImage& image) {
  const int type = png_get_color_type(state.png, state.info);
  const int depth = png_get_bit_depth(state.png, state.info);
  const bool alpha = (type & PNG_COLOR_MASK_ALPHA) || png_get_valid(state.png, state.info, PNG_INFO_tRNS);
  std::string error = image.setSize(
      limits, png_get_image_width(state.png, state.info), png_get_image_height(state.png, state.info),
      depth == 16 ? 16 : 8, type & PNG_COLOR_MASK_COLOR ? 3 : 1, alpha ? AlphaInfo::last : AlphaInfo::none);
  image.layout.littleEndian = false;
  return error;
}

// Deflate cannot shrink further; a header that promises more is a lie and not worth the memory.
bool sizeIsPossible(const PNGState& state, const DecodedImage& image) {
  constexpr int64_t kBestDeflateRatio = 1032;
  const int64_t depth = png_get_bit_depth(state.png, state.info);
  const int64_t bits = depth * png_get_channels(state.png, state.info);
  const int64_t bytes = (image.layout.width * bits + 7) / 8 * image.layout.height;
  return bytes / kBestDeflateRatio <= state.source->size();
}

void readColor(PNGState& state, DecodedImage& image) {
  png_charp name = nullptr;
  png_bytep profile = nullptr;
  png_uint_32 size = 0;
  int compression = 0;
  if (png_get_iCCP(state.png, state.info, &name, &compression, &profile, &size)) {
    image.profile.assign(profile, profile + size);
    return;
  }
  if (state.profileRefused) image.warnings.push_back("the colour profile is broken; sRGB is assumed");
  double gamma = 0;
  const bool plain = !png_get_valid(state.png, state.info, PNG_INFO_sRGB) &&
                     png_get_gAMA(state.png, state.info, &gamma) && gamma > 0.9 && gamma < 1.1;
  if (plain) {
    image.untaggedSpace =
        ColorSpace::named(image.layout.colorComponents() == 1 ? "linear gray" : "linear sRGB");
  }
}

void readMetadata(PNGState& state, DecodedImage& image) {
  png_uint_32 x = 0, y = 0;
  int unit = 0;
  if (png_get_pHYs(state.png, state.info, &x, &y, &unit) && unit == PNG_RESOLUTION_METER && x && y) {
    image.metadata.dpiX = x * kMetresPerInch;
    image.metadata.dpiY = y * kMetresPerInch;
  }
  png_bytep exif = nullptr;
  png_uint_32 size = 0;
  if (png_get_eXIf_1(state.png, state.info, &size, &exif)) image.metadata.exif.assign(exif, exif + size);
  png_textp texts = nullptr;
  const int count = png_get_text(state.png, state.info, &texts, nullptr);
  for (int i = 0; i < count; ++i) {
    const png_text& text = texts[i];
    const size_t length = text.itxt_length ? text.itxt_length : text.text_length;
    if (std::strcmp(text.key, kXMPKeyword) == 0) image.metadata.xmp.assign(text.text, text.text + length);
    if (std::strcmp(text.key, kIPTCKeyword) == 0) {
      image.metadata.iptc = iptcFromResources(fromRawProfileText({text.text, length}));
    }
  }
}

class PNGDecoder final : public PictureDecoder {
 public:
  PNGDecoder(const ByteSource& file, DecodedImage& image) : source_(file), image_(image) {
    state_.source = &source_;
  }
  std::string start(const DecodeRequest& request);
  int64_t rowsTogether() const override { return passes_ > 1 ? image_.layout.height : 1; }
  std::string decode(int64_t rows) override;

 private:
  void readRow();

  const MetadataFirstPNG source_;
  PNGState state_;
  DecodedImage& image_;
  int passes_ = 1, pass_ = 0;  // of an interlaced picture
  int64_t row_ = 0;            // of the pass
};

std::string PNGDecoder::start(const DecodeRequest& request) {
  state_.png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &state_, onError, onWarning, nullptr, allocate,
                                        [](png_structp, png_voidp memory) { std::free(memory); });
  if (!state_.png || !(state_.info = png_create_info_struct(state_.png))) return "not enough memory";
  if (!guarded(state_, readHeader)) return state_.error;
  if (std::string error = setSize(state_, request.limits, image_); !error.empty()) return error;
  readMetadata(state_, image_);
  if (request.headerOnly) return {};
  if (!sizeIsPossible(state_, image_)) return "the file is truncated";
  readColor(state_, image_);
  const bool ok = guarded(state_, [this](PNGState& state) {
    passes_ = png_set_interlace_handling(state.png);
    png_read_update_info(state.png, state.info);
    if (static_cast<int64_t>(png_get_rowbytes(state.png, state.info)) != image_.layout.bytesPerRow) {
      png_error(state.png, "unexpected row size");
    }
  });
  return ok ? "" : state_.error;
}

void PNGDecoder::readRow() {
  png_read_row(state_.png, image_.row(row_), nullptr);
  ++row_;
  if (pass_ == passes_ - 1) finishedRows_ = row_;
  if (row_ < image_.layout.height) return;
  row_ = 0;
  if (++pass_ == passes_) png_read_end(state_.png, state_.info);
}

std::string PNGDecoder::decode(int64_t rows) {
  const bool ok = guarded(state_, [&](PNGState&) {
    for (int64_t i = 0; i < rows && pass_ < passes_; ++i) readRow();
  });
  return ok ? "" : state_.error;
}

}  // namespace

std::string openPNG(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder) {
  auto opened = std::make_unique<PNGDecoder>(request.source, image);
  std::string error = opened->start(request);
  if (error.empty() && !request.headerOnly) decoder = std::move(opened);
  return error;
}

namespace {

void writeHeader(PNGState& state, const EncodeRequest& request) {
  const PixelLayout& layout = request.layout;
  const bool alpha = layout.hasAlpha();
  const bool color = layout.colorComponents() == 3;
  png_set_write_fn(
      state.png, state.file,
      [](png_structp png, png_bytep bytes, size_t count) {
        if (std::fwrite(bytes, 1, count, static_cast<std::FILE*>(png_get_io_ptr(png))) != count) {
          png_error(png, "the disk is full or cannot be written");
        }
      },
      nullptr);
  png_set_user_limits(state.png, 0x7fffffff, 0x7fffffff);
  png_set_IHDR(state.png, state.info, static_cast<png_uint_32>(layout.width),
               static_cast<png_uint_32>(layout.height), layout.bitsPerComponent,
               (color ? PNG_COLOR_MASK_COLOR : 0) | (alpha ? PNG_COLOR_MASK_ALPHA : 0), PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const Data& profile = request.profile;
  png_set_option(state.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
  if (!profile.empty()) {
    png_set_iCCP(state.png, state.info, "ICC profile", PNG_COMPRESSION_TYPE_DEFAULT, profile.data(),
                 static_cast<png_uint_32>(profile.size()));
  }
  const ImageMetadata& metadata = request.metadata;
  if (metadata.dpiX && metadata.dpiY) {
    png_set_pHYs(
        state.png, state.info, static_cast<png_uint_32>(std::lround(*metadata.dpiX / kMetresPerInch)),
        static_cast<png_uint_32>(std::lround(*metadata.dpiY / kMetresPerInch)), PNG_RESOLUTION_METER);
  }
  if (!metadata.exif.empty()) {
    png_set_eXIf_1(state.png, state.info, static_cast<png_uint_32>(metadata.exif.size()),
                   const_cast<png_bytep>(metadata.exif.data()));
  }
}

void writeText(PNGState& state, const char* key, const std::string& text, int compression) {
  png_text entry{};
  entry.compression = compression;
  entry.key = const_cast<png_charp>(key);
  entry.text = const_cast<png_charp>(text.c_str());
  if (compression == PNG_ITXT_COMPRESSION_NONE) {
    entry.itxt_length = text.size();
  } else {
    entry.text_length = text.size();
  }
  png_set_text(state.png, state.info, &entry, 1);
}

class PNGEncoder final : public PictureEncoder {
 public:
  explicit PNGEncoder(const PixelLayout& layout)
      : packer_(layout, true), row_(static_cast<size_t>(packer_.rowBytes())) {
    state_.writing = true;
  }
  std::string start(const EncodeRequest& request, int descriptor);
  std::string writeRow(const uint8_t* row) override;
  std::string finish() override;

 private:
  FilePtr file_;
  PNGState state_;
  const RowPacker packer_;
  Bytes row_;
};

std::string PNGEncoder::start(const EncodeRequest& request, int descriptor) {
  const std::string xmp(request.metadata.xmp.begin(), request.metadata.xmp.end());
  const std::string iptc = request.metadata.iptc.empty()
                               ? std::string()
                               : toRawProfileText("iptc", resourcesFromIPTC(request.metadata.iptc));
  file_ = openForWriting(descriptor);
  if (!file_) return "cannot be written";
  state_.file = file_.get();
  state_.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state_, onError, onWarning);
  if (!state_.png || !(state_.info = png_create_info_struct(state_.png))) return "not enough memory";
  png_set_benign_errors(state_.png, 1);
  const bool ok = guarded(state_, [&](PNGState& s) {
    writeHeader(s, request);
    if (!xmp.empty()) writeText(s, kXMPKeyword, xmp, PNG_ITXT_COMPRESSION_NONE);
    if (!iptc.empty()) writeText(s, kIPTCKeyword, iptc, PNG_TEXT_COMPRESSION_zTXt);
    png_write_info(s.png, s.info);
  });
  if (!ok) return state_.error;
  if (state_.profileRefused)
    request.warnings.push_back("PNG cannot hold this colour profile; it was left out");
  return {};
}

std::string PNGEncoder::writeRow(const uint8_t* row) {
  packer_.pack(row, row_.data());
  return guarded(state_, [&](PNGState& s) { png_write_row(s.png, row_.data()); }) ? "" : state_.error;
}

std::string PNGEncoder::finish() {
  if (!guarded(state_, [](PNGState& s) { png_write_end(s.png, s.info); })) return state_.error;
  return std::fflush(file_.get()) == 0 ? "" : "the disk is full or cannot be written";
}

}  // namespace

std::string createPNG(const EncodeRequest& request, int descriptor, EncoderPtr& encoder) {
  auto made = std::make_unique<PNGEncoder>(request.layout);
  std::string error = made->start(request, descriptor);
  if (error.empty()) encoder = std::move(made);
  return error;
}

}  // namespace vello
