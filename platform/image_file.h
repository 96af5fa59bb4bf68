// Reading and writing TIFF, PNG and JPEG files (WebP: reading only), with their resolution, profile and
// metadata.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/bitmap.h"

namespace vello {

enum class ImageFormat { tiff, png, jpeg, webp };

// Raw blocks, carried from a read file into a written one byte for byte; only orientation, sizes and
// thumbnail of the Exif block are touched.
struct ImageMetadata {
  std::optional<double> dpiX, dpiY;
  std::vector<uint8_t> exif;  // a TIFF structure, without a container's "Exif\0\0"
  std::vector<uint8_t> iptc;
  std::vector<uint8_t> xmp;
  // Its TIFF file holds the pixels as they are. A result is written the same way: compressing takes longer
  // than most filters.
  bool uncompressed = false;
};

struct ImageLimits {
  int64_t side = int64_t{1} << 20;  // pixels an axis
  int64_t pixels = 0;               // area; 0 is a default that fits this machine's memory
  int64_t bytes = 0;                // of one decoded picture; 0 is a default that fits this machine's memory
};

struct ImageFileInfo {
  ImageFormat format = ImageFormat::tiff;
  int64_t width = 0, height = 0;  // as shown, orientation applied
  int bitsPerComponent = 8;
  bool hasAlpha = false;
};

struct ImageReadResult {
  Bitmap bitmap;  // orientation applied
  ImageMetadata metadata;
  ImageFileInfo info;
  std::vector<std::string> warnings;  // e.g. a broken profile that was replaced by sRGB
  std::string error;                  // empty on success; names the file and the reason
  bool ok() const { return error.empty(); }
};

// Sizes are checked against the limits before anything is allocated. Opens without blocking and only regular
// files.
ImageReadResult readImageFile(const std::string& path, const ImageLimits& limits = {});
// From bytes in memory; `name` stands in error texts.
ImageReadResult readImage(std::span<const uint8_t> bytes, const std::string& name,
                          const ImageLimits& limits = {});
// Header only.
std::optional<ImageFileInfo> imageFileInfo(const std::string& path, std::string* error);

struct ImageWriteOptions {
  ImageFormat format = ImageFormat::tiff;  // not webp
  int jpegQuality = 90;                    // 1..100
  ImageMetadata metadata;
};

// Writes beside the target, syncs, renames into place: the target is the whole new picture or what it was.
// Straight or premultiplied 8- and 16-bit grey and RGB(A) bitmaps; JPEG takes 8-bit ones without alpha.
// Premultiplied pixels are written as such where the format can say so (TIFF), else refused: the caller
// renders straight alpha. The bitmap's profile is embedded. Returns the error, which names the file, or
// nothing; `warnings` gets what had to be left out, e.g. a block that is too long for JPEG.
std::optional<std::string> writeImageFile(const std::string& path, const Bitmap& bitmap,
                                          const ImageWriteOptions& options,
                                          std::vector<std::string>* warnings = nullptr);

// Writes beside `path`, syncs, renames into place; the error names the file.
std::optional<std::string> writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes);

// By a file name's extension, in any case: tif, tiff, png, jpg, jpeg, webp.
std::optional<ImageFormat> imageFormatForPath(const std::string& path);

}  // namespace vello
