#pragma once

#include "platform/image_codecs/image_codec.h"
#include "platform/image_codecs/tiff_file.h"

namespace vello {

// Copies one channel of a run of pixels from the file's samples to the bitmap's.
class TiffSampleCopier {
 public:
  // Of the image the layout is used. Both must outlive this.
  TiffSampleCopier(const TiffTags& tags, const DecodedImage& image);
  // `from` is a run's first pixel, `stride` its samples a pixel; `channel` is of the result, `to` its first
  // pixel.
  void copy(const uint8_t* from, int stride, int sample, int64_t n, int channel, uint8_t* to) const;

 private:
  void copy8(const uint8_t* from, int stride, int64_t n, bool invert, bool opponent, uint8_t* to) const;
  void copy16(const uint8_t* from, int stride, int64_t n, bool invert, bool opponent, uint8_t* to) const;
  void copyPacked(const uint8_t* from, int64_t n, bool invert, uint8_t* to) const;
  void copyFloats(const uint8_t* from, int stride, int64_t n, bool invert, uint8_t* to) const;

  const TiffTags& tags_;
  bool inverted_, lab_;
  int64_t step_, bytes_;  // of the result: a pixel, a component
};

}  // namespace vello
