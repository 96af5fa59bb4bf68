#include <cstdio>
// jpeglib.h needs FILE
#include <jpeglib.h>

#include <jerror.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstring>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/metadata_blocks.h"

namespace vello {

namespace {

// They end in zeros that belong to them.
constexpr std::string_view kExifHeader{"Exif\0\0", 6};
constexpr std::string_view kXMPHeader{"http://ns.adobe.com/xap/1.0/\0", 29};
constexpr std::string_view kPhotoshopHeader{"Photoshop 3.0\0", 14};
constexpr int kExifMarker = JPEG_APP0 + 1, kProfileMarker = JPEG_APP0 + 2, kPhotoshopMarker = JPEG_APP0 + 13;
constexpr size_t kLargestMarker = 65533;
constexpr double kCentimetresPerInch = 2.54;
constexpr size_t kInputBlock = size_t{64} << 10;

// Libjpeg reports errors by a jump: between guarded() and the jump's origin nothing with a destructor may
// live.
struct JPEGErrors {
  jpeg_error_mgr manager;  // first: libjpeg hands out its address
  std::jmp_buf jump;
  char text[JMSG_LENGTH_MAX] = "";
};

[[noreturn]] void onError(j_common_ptr info) {
  auto* errors = reinterpret_cast<JPEGErrors*>(info->err);
  errors->manager.format_message(info, errors->text);
  std::longjmp(errors->jump, 1);
}

[[noreturn]] void fail(j_common_ptr info, const char* text) {
  auto* errors = reinterpret_cast<JPEGErrors*>(info->err);
  std::snprintf(errors->text, sizeof errors->text, "%s", text);
  std::longjmp(errors->jump, 1);
}

jpeg_error_mgr* prepare(JPEGErrors& errors) {
  jpeg_std_error(&errors.manager);
  errors.manager.error_exit = onError;
  errors.manager.output_message = [](j_common_ptr) {};
  return &errors.manager;
}

struct JPEGReading {
  JPEGErrors errors;
  jpeg_decompress_struct info{};
  jpeg_source_mgr manager{};
  jpeg_progress_mgr progress{};
  const ByteSource& source;
  int64_t position = 0;
  bool hitEnd = false;
  uint8_t block[kInputBlock];

  explicit JPEGReading(const ByteSource& bytes);
  ~JPEGReading() { jpeg_destroy_decompress(&info); }
  JPEGReading(const JPEGReading&) = delete;
  JPEGReading& operator=(const JPEGReading&) = delete;
};

JPEGReading& readingOf(j_decompress_ptr info) { return *static_cast<JPEGReading*>(info->client_data); }

// Past the end stands an end marker, so that a file that lacks only that can be read; decodeJPEG tells such a
// file from one that was cut.
boolean fillInput(j_decompress_ptr info) {
  JPEGReading& reading = readingOf(info);
  size_t count = reading.source.read(reading.position, reading.block, kInputBlock);
  reading.position += static_cast<int64_t>(count);
  if (count == 0) {
    reading.hitEnd = true;
    reading.block[0] = 0xff, reading.block[1] = JPEG_EOI;
    count = 2;
  }
  reading.manager.next_input_byte = reading.block;
  reading.manager.bytes_in_buffer = count;
  return TRUE;
}

void skipInput(j_decompress_ptr info, long count) {
  JPEGReading& reading = readingOf(info);
  if (count <= 0) return;
  const auto wanted = static_cast<size_t>(count);
  if (wanted <= reading.manager.bytes_in_buffer) {
    reading.manager.next_input_byte += wanted;
    reading.manager.bytes_in_buffer -= wanted;
  } else {
    reading.position += static_cast<int64_t>(wanted - reading.manager.bytes_in_buffer);
    fillInput(info);
  }
}

// A progressive file of a few kilobytes can ask for thousands of passes over a huge picture.
void limitScans(j_common_ptr info) {
  constexpr int kMostScans = 200;
  if (info->is_decompressor && reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMostScans) {
    fail(info, "too many scans");
  }
}

JPEGReading::JPEGReading(const ByteSource& bytes) : source(bytes) {
  info.err = prepare(errors);
  manager.init_source = [](j_decompress_ptr) {};
  manager.fill_input_buffer = fillInput;
  manager.skip_input_data = skipInput;
  manager.resync_to_restart = jpeg_resync_to_restart;
  manager.term_source = [](j_decompress_ptr) {};
  progress.progress_monitor = limitScans;
}

template <typename Step>
bool guarded(JPEGErrors& errors, Step step) {
  if (setjmp(errors.jump)) return false;
  step();
  return true;
}

void readHeader(JPEGReading& reading) {
  jpeg_create_decompress(&reading.info);
  reading.info.client_data = &reading;
  reading.info.src = &reading.manager;
  reading.info.progress = &reading.progress;
  for (const int marker : {kExifMarker, kProfileMarker, kPhotoshopMarker}) {
    jpeg_save_markers(&reading.info, marker, 0xffff);
  }
  jpeg_read_header(&reading.info, TRUE);
  if (reading.info.jpeg_color_space == JCS_YCCK) reading.info.out_color_space = JCS_CMYK;
}

bool startsWith(std::span<const uint8_t> bytes, std::string_view header) {
  return bytes.size() >= header.size() && std::memcmp(bytes.data(), header.data(), header.size()) == 0;
}

void readMetadata(const jpeg_decompress_struct& info, ImageMetadata& metadata) {
  Bytes resources;  // may be spread over several markers
  for (auto* marker = info.marker_list; marker; marker = marker->next) {
    const std::span<const uint8_t> bytes(marker->data, marker->data_length);
    const auto rest = [&](std::string_view header) { return bytes.subspan(header.size()); };
    if (marker->marker == kExifMarker && startsWith(bytes, kExifHeader) && metadata.exif.empty()) {
      metadata.exif.assign(rest(kExifHeader).begin(), rest(kExifHeader).end());
    } else if (marker->marker == kExifMarker && startsWith(bytes, kXMPHeader) && metadata.xmp.empty()) {
      metadata.xmp.assign(rest(kXMPHeader).begin(), rest(kXMPHeader).end());
    } else if (marker->marker == kPhotoshopMarker && startsWith(bytes, kPhotoshopHeader)) {
      resources.insert(resources.end(), rest(kPhotoshopHeader).begin(), rest(kPhotoshopHeader).end());
    }
  }
  metadata.iptc = iptcFromResources(resources);
}

// JFIF's whole numbers, unless Exif's fraction rounds to the same.
std::optional<double> density(int unit, int value, std::optional<double> exif) {
  if (unit == 0 || value == 0) return exif;
  const double dpi = unit == 2 ? value * kCentimetresPerInch : value;
  return exif && std::abs(*exif - dpi) < (unit == 2 ? kCentimetresPerInch : 1) ? exif : dpi;
}

void readDensity(const jpeg_decompress_struct& info, ImageMetadata& metadata) {
  const ExifDensity exif = exifDensity(metadata.exif);
  const int unit = info.saw_JFIF_marker ? info.density_unit : 0;
  metadata.dpiX = density(unit, info.X_density, exif.x);
  metadata.dpiY = density(unit, info.Y_density, exif.y);
}

std::string setSize(const jpeg_decompress_struct& info, const ImageLimits& limits, DecodedImage& image) {
  int colors = 0;
  if (info.out_color_space == JCS_GRAYSCALE) colors = 1;
  if (info.out_color_space == JCS_RGB) colors = 3;
  if (info.out_color_space == JCS_CMYK) colors = 4;
  if (colors == 0) return "the colour model is not supported";
  return image.setSize(limits, info.image_width, info.image_height, 8, colors, AlphaInfo::none);
}

void readProfile(jpeg_decompress_struct& info, DecodedImage& image) {
  JOCTET* bytes = nullptr;
  unsigned size = 0;
  if (!jpeg_read_icc_profile(&info, &bytes, &size)) return;
  image.profile.assign(bytes, bytes + size);
  std::free(bytes);
}

class JPEGDecoder final : public PictureDecoder {
 public:
  JPEGDecoder(std::unique_ptr<JPEGReading> reading, DecodedImage& image)
      : reading_(std::move(reading)), info_(reading_->info), image_(image) {}
  int64_t heldBytes() const override;
  std::string decode(int64_t rows) override;

 private:
  void warnOfDamage();
  bool truncated() const { return reading_->hitEnd && info_.err->num_warnings > 0; }

  std::unique_ptr<JPEGReading> reading_;
  jpeg_decompress_struct& info_;
  DecodedImage& image_;
  bool started_ = false;
};

// A file of several scans keeps every coefficient in memory while it is read.
int64_t JPEGDecoder::heldBytes() const {
  if (!jpeg_has_multiple_scans(&info_)) return 0;
  int64_t bytes = 0;
  for (int i = 0; i < info_.num_components; ++i) {
    const jpeg_component_info& part = info_.comp_info[i];
    const int64_t columns = int64_t{part.width_in_blocks} + part.h_samp_factor;
    const int64_t rows = int64_t{part.height_in_blocks} + part.v_samp_factor;
    bytes += columns * rows * int64_t{sizeof(JBLOCK)};
  }
  return bytes;
}

// Adobe's programs store ink inverted and say so by their marker.
void invert(uint8_t* row, int64_t count) {
  for (int64_t i = 0; i < count; ++i) row[i] = static_cast<uint8_t>(255 - row[i]);
}

std::string JPEGDecoder::decode(int64_t rows) {
  const int64_t end = std::min(finishedRows_ + rows, image_.layout.height);
  const bool ok = guarded(reading_->errors, [&] {
    if (!started_) jpeg_start_decompress(&info_);
    started_ = true;
    const bool invertedInk = info_.out_color_space == JCS_CMYK && info_.saw_Adobe_marker;
    while (finishedRows_ < end && !truncated()) {
      JSAMPROW row = image_.row(finishedRows_);
      jpeg_read_scanlines(&info_, &row, 1);
      if (invertedInk) invert(row, image_.layout.bytesPerRow);
      ++finishedRows_;
    }
  });
  if (!ok) return reading_->hitEnd ? "the file is truncated" : reading_->errors.text;
  if (truncated() || (reading_->hitEnd && jpeg_has_multiple_scans(&info_))) return "the file is truncated";
  if (finishedRows_ == image_.layout.height) warnOfDamage();
  return {};
}

void JPEGDecoder::warnOfDamage() {
  if (info_.err->num_warnings == 0) return;
  info_.err->format_message(reinterpret_cast<j_common_ptr>(&info_), reading_->errors.text);
  image_.warnings.push_back(std::string("the picture is damaged: ") + reading_->errors.text);
}

}  // namespace

std::string openJPEG(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder) {
  auto reading = std::make_unique<JPEGReading>(request.source);
  jpeg_decompress_struct& info = reading->info;
  if (!guarded(reading->errors, [&] { readHeader(*reading); })) {
    return reading->hitEnd ? "the file is truncated" : reading->errors.text;
  }
  if (std::string error = setSize(info, request.limits, image); !error.empty()) return error;
  readMetadata(info, image.metadata);
  readDensity(info, image.metadata);
  if (request.headerOnly) return {};
  if (!guarded(reading->errors, [&] { readProfile(info, image); })) return reading->errors.text;
  decoder = std::make_unique<JPEGDecoder>(std::move(reading), image);
  return {};
}

namespace {

struct JPEGWriting {
  JPEGErrors errors;
  jpeg_compress_struct info{};
  JPEGWriting() { info.err = prepare(errors); }
  ~JPEGWriting() { jpeg_destroy_compress(&info); }
  JPEGWriting(const JPEGWriting&) = delete;
  JPEGWriting& operator=(const JPEGWriting&) = delete;
};

Bytes joined(std::string_view header, std::span<const uint8_t> block) {
  Bytes bytes(header.begin(), header.end());
  bytes.insert(bytes.end(), block.begin(), block.end());
  return bytes;
}

struct JPEGMarker {
  int code;
  Bytes bytes;
};

std::vector<JPEGMarker> markersOf(const EncodeRequest& request) {
  std::vector<JPEGMarker> markers;
  const auto add = [&](int code, std::string_view header, const Bytes& block, const char* name) {
    if (block.empty()) return;
    if (header.size() + block.size() > kLargestMarker) {
      request.warnings.push_back(std::string("the ") + name + " block is too long for JPEG; it was left out");
    } else {
      markers.push_back({code, joined(header, block)});
    }
  };
  const ImageMetadata& metadata = request.metadata;
  add(kExifMarker, kExifHeader, metadata.exif, "Exif");
  add(kExifMarker, kXMPHeader, metadata.xmp, "XMP");
  if (!metadata.iptc.empty()) {
    add(kPhotoshopMarker, kPhotoshopHeader, resourcesFromIPTC(metadata.iptc), "IPTC");
  }
  return markers;
}

// Codes made for one picture are known only after its last row; until then every coefficient is kept. So they
// are for pictures of ordinary size.
constexpr int64_t kLargestOptimised = int64_t{96} << 20;
int64_t coefficientBytes(const PixelLayout& layout, int components, int sampling) {
  const int64_t samples = layout.width * layout.height;
  return (samples + (components - 1) * samples / sampling / sampling) * int64_t{sizeof(JCOEF)};
}

void setUp(jpeg_compress_struct& info, const EncodeRequest& request, int components) {
  info.image_width = static_cast<JDIMENSION>(request.layout.width);
  info.image_height = static_cast<JDIMENSION>(request.layout.height);
  info.input_components = components;
  info.in_color_space = components == 3 ? JCS_RGB : JCS_GRAYSCALE;
  jpeg_set_defaults(&info);
  const int quality = std::clamp(request.options.jpegQuality, 1, 100);
  jpeg_set_quality(&info, quality, TRUE);
  constexpr int kFullColorAbove = 90;
  const int sampling = components == 3 && quality <= kFullColorAbove ? 2 : 1;
  info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = sampling;
  info.optimize_coding = coefficientBytes(request.layout, components, sampling) <= kLargestOptimised;
  if (request.metadata.dpiX && request.metadata.dpiY) {
    info.density_unit = 1;
    info.X_density = static_cast<UINT16>(std::clamp(std::round(*request.metadata.dpiX), 1.0, 65535.0));
    info.Y_density = static_cast<UINT16>(std::clamp(std::round(*request.metadata.dpiY), 1.0, 65535.0));
  }
}

void writeMarkers(jpeg_compress_struct& info, const std::vector<JPEGMarker>& markers, const Data& profile) {
  for (const JPEGMarker& marker : markers) {
    jpeg_write_marker(&info, marker.code, marker.bytes.data(), static_cast<unsigned>(marker.bytes.size()));
  }
  if (!profile.empty()) {
    jpeg_write_icc_profile(&info, profile.data(), static_cast<unsigned>(profile.size()));
  }
}

class JPEGEncoder final : public PictureEncoder {
 public:
  explicit JPEGEncoder(const PixelLayout& layout)
      : packer_(layout, false), row_(static_cast<size_t>(packer_.rowBytes())) {}
  std::string start(const EncodeRequest& request, int descriptor);
  std::string writeRow(const uint8_t* row) override;
  std::string finish() override;

 private:
  FilePtr file_;
  JPEGWriting writing_;
  const RowPacker packer_;
  Bytes row_;
};

std::string JPEGEncoder::start(const EncodeRequest& request, int descriptor) {
  const std::vector<JPEGMarker> markers = markersOf(request);
  file_ = openForWriting(descriptor);
  if (!file_) return "cannot be written";
  jpeg_compress_struct& info = writing_.info;
  const bool ok = guarded(writing_.errors, [&] {
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, file_.get());
    setUp(info, request, packer_.components());
    jpeg_start_compress(&info, TRUE);
    writeMarkers(info, markers, request.profile);
  });
  return ok ? "" : writing_.errors.text;
}

std::string JPEGEncoder::writeRow(const uint8_t* row) {
  packer_.pack(row, row_.data());
  JSAMPROW pointer = row_.data();
  const bool ok = guarded(writing_.errors, [&] { jpeg_write_scanlines(&writing_.info, &pointer, 1); });
  return ok ? "" : writing_.errors.text;
}

std::string JPEGEncoder::finish() {
  if (!guarded(writing_.errors, [&] { jpeg_finish_compress(&writing_.info); })) return writing_.errors.text;
  return std::fflush(file_.get()) == 0 ? "" : "the disk is full or cannot be written";
}

}  // namespace

std::string createJPEG(const EncodeRequest& request, int descriptor, EncoderPtr& encoder) {
  if (request.layout.width > JPEG_MAX_DIMENSION || request.layout.height > JPEG_MAX_DIMENSION) {
    return "JPEG holds at most " + std::to_string(JPEG_MAX_DIMENSION) + " pixels an axis";
  }
  auto made = std::make_unique<JPEGEncoder>(request.layout);
  std::string error = made->start(request, descriptor);
  if (error.empty()) encoder = std::move(made);
  return error;
}

}  // namespace vello
