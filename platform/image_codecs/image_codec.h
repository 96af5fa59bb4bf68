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
  int64_t memory = 0;       // bytes a library may take beside the pixels
  bool headerOnly = false;  // only `info` and the orientation are wanted
};

struct DecodedImage {
  ImageFileInfo info;  // size as stored
  PixelLayout layout;
  std::shared_ptr<uint8_t[]> pixels;  // whoever decodes gives the memory before the first row
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

// A picture of which the header is read and the pixels are still in the file. The source and the image it
// was opened with must outlive it.
class PictureDecoder {
 public:
  PictureDecoder() = default;
  virtual ~PictureDecoder() = default;
  PictureDecoder(const PictureDecoder&) = delete;
  PictureDecoder& operator=(const PictureDecoder&) = delete;

  // Rows from the top that will not change any more.
  int64_t finishedRows() const { return finishedRows_; }
  // Decodes some of the rows that are not finished into the image's pixels: about as many as asked for, or as
  // belong together. Requires that there are some. Not to be called again after an error.
  virtual std::string decode(int64_t rows) = 0;
  // Rows that become finished together: the picture's height where the top row needs the whole file.
  virtual int64_t rowsTogether() const { return 1; }
  // Bytes that the library keeps beside the pixels if they are more than some rows.
  virtual int64_t heldBytes() const { return 0; }

 protected:
  int64_t finishedRows_ = 0;
};
using DecoderPtr = std::unique_ptr<PictureDecoder>;

// They fill in all of the image but its pixels, and `decoder` unless only the header is wanted.
std::string openPNG(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder);
std::string openJPEG(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder);
std::string openTIFF(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder);
std::string openWebP(const DecodeRequest& request, DecodedImage& image, DecoderPtr& decoder);

// Rows of a bitmap as files hold them: grey or RGB, alpha last if any, nothing skipped, 8 or 16 bit.
class RowPacker {
 public:
  RowPacker(const PixelLayout& layout, bool bigEndian);
  int components() const { return static_cast<int>(offsets_.size()); }  // a pixel
  int bits() const { return layout_.bitsPerComponent; }
  int64_t rowBytes() const { return layout_.width * components() * bits() / 8; }
  void pack(const uint8_t* row, uint8_t* to) const;

 private:
  PixelLayout layout_;
  std::vector<int64_t> offsets_;  // of the components in a pixel of the bitmap
  bool swap_;
  bool inOrder_;  // a pixel of the bitmap starts with the file's
};

struct EncodeRequest {
  const PixelLayout& layout;
  const Data& profile;
  const ImageWriteOptions& options;
  const ImageMetadata& metadata;  // Exif and XMP already say upright and the new size
  std::vector<std::string>& warnings;
};

// Writes one picture, the top row first. Destroyed unfinished it leaves a part of a file.
class PictureEncoder {
 public:
  PictureEncoder() = default;
  virtual ~PictureEncoder() = default;
  PictureEncoder(const PictureEncoder&) = delete;
  PictureEncoder& operator=(const PictureEncoder&) = delete;
  // The next row in the bitmap's layout.
  virtual std::string writeRow(const uint8_t* row) = 0;
  // After the last row.
  virtual std::string finish() = 0;
};
using EncoderPtr = std::unique_ptr<PictureEncoder>;

// They write to an open file at its start and do not close it. What the request refers to must outlive them.
std::string createPNG(const EncodeRequest& request, int descriptor, EncoderPtr& encoder);
std::string createJPEG(const EncodeRequest& request, int descriptor, EncoderPtr& encoder);
std::string createTIFF(const EncodeRequest& request, int descriptor, EncoderPtr& encoder);

}  // namespace vello
