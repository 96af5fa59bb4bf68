// What the readers and writers of single formats share. Errors are texts without the file's name; an empty
// text is success.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/file_bytes.h"
#include "platform/image_file.h"

namespace vello {

struct DecodeRequest {
  const ByteSource& source;
  ImageLimits limits;       // none is 0
  bool headerOnly = false;  // only `info` and the orientation are wanted
};

struct DecodedImage {
  ImageFileInfo info;  // size as stored
  PixelLayout layout;
  std::shared_ptr<uint8_t[]> pixels;
  std::vector<uint8_t> profile;
  ColorSpacePtr
      untaggedSpace;    // what pixels without a usable profile mean; null: sRGB, sRGB grey, device CMYK
  int orientation = 1;  // Exif's 1..8, not yet applied
  ImageMetadata metadata;
  std::vector<std::string> warnings;

  // Sets layout and info for native byte order; checks the limits.
  std::string setSize(const ImageLimits& limits, int64_t width, int64_t height, int bits, int colors,
                      AlphaInfo alpha);
  // The pixels' memory, not cleared. Throws bad_alloc.
  void allocate();
  uint8_t* row(int64_t y) { return pixels.get() + y * layout.bytesPerRow; }
};

std::string decodePNG(const DecodeRequest& request, DecodedImage& image);
std::string decodeJPEG(const DecodeRequest& request, DecodedImage& image);
std::string decodeTIFF(const DecodeRequest& request, DecodedImage& image);
std::string decodeWebP(const DecodeRequest& request, DecodedImage& image);

// Rows of a bitmap as files hold them: grey or RGB, alpha last if any, nothing skipped, 8 or 16 bit.
class RowPacker {
 public:
  RowPacker(const Bitmap& bitmap, bool bigEndian);
  int components() const { return components_; }  // a pixel
  int bits() const { return bitmap_.layout().bitsPerComponent; }
  int64_t rowBytes() const { return bitmap_.width() * components_ * bits() / 8; }
  void pack(int64_t y, uint8_t* to) const;

 private:
  const Bitmap& bitmap_;
  int components_;
  std::vector<int64_t> offsets_;  // of the components in a pixel of the bitmap
  bool swap_;
};

struct EncodeRequest {
  const Bitmap& bitmap;
  const ImageWriteOptions& options;
  ImageMetadata metadata;  // Exif and XMP already say upright and the new size
  std::vector<std::string>& warnings;
};

// They write to an open file at its start and do not close it.
std::string encodePNG(const EncodeRequest& request, int descriptor);
std::string encodeJPEG(const EncodeRequest& request, int descriptor);
std::string encodeTIFF(const EncodeRequest& request, int descriptor);

}  // namespace vello
