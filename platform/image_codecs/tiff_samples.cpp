#include "platform/image_codecs/tiff_samples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace vello {

TiffSampleCopier::TiffSampleCopier(const TiffTags& tags, const DecodedImage& image)
    : tags_(tags),
      inverted_(tags.photometric == PHOTOMETRIC_MINISWHITE),
      lab_(tags.photometric == PHOTOMETRIC_CIELAB),
      step_(image.layout.bytesPerPixel()),
      bytes_(image.layout.bitsPerComponent / 8) {}

void TiffSampleCopier::copy(const uint8_t* from, int stride, int sample, int64_t n, int channel,
                            uint8_t* to) const {
  to += channel * bytes_;
  from += int64_t{sample} * tags_.bits / 8;
  const bool invert = inverted_ && channel == 0;
  const bool opponent = lab_ && (channel == 1 || channel == 2);  // a* or b*, signed
  if (tags_.format == SAMPLEFORMAT_IEEEFP) return copyFloats(from, stride, n, invert, to);
  if (tags_.bits == 8) return copy8(from, stride, n, invert, opponent, to);
  if (tags_.bits == 16) return copy16(from, stride, n, invert, opponent, to);
  copyPacked(from, n, invert, to);
}

void TiffSampleCopier::copy8(const uint8_t* from, int stride, int64_t n, bool invert, bool opponent,
                             uint8_t* to) const {
  for (int64_t i = 0; i < n; ++i, to += step_) {
    const uint8_t value = from[i * stride];
    *to = invert ? static_cast<uint8_t>(255 - value) : opponent ? value ^ 0x80 : value;
  }
}

namespace {

// 256ths of a signed unit to our (unit + 128) / 255.
uint16_t opponent16(uint16_t value) {
  const int64_t shifted = value ^ 0x8000;
  return static_cast<uint16_t>(std::min<int64_t>((shifted * 65535 + 32640) / 65280, 65535));
}

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

float readFloat(const uint8_t* p, int bits) {
  if (bits == 16) {
    uint16_t half;
    std::memcpy(&half, p, sizeof half);
    return halfToFloat(half);
  }
  if (bits == 32) {
    float value;
    std::memcpy(&value, p, sizeof value);
    return value;
  }
  double wide;
  std::memcpy(&wide, p, sizeof wide);
  return static_cast<float>(wide);
}

}  // namespace

void TiffSampleCopier::copy16(const uint8_t* from, int stride, int64_t n, bool invert, bool opponent,
                              uint8_t* to) const {
  for (int64_t i = 0; i < n; ++i, to += step_) {
    uint16_t value;
    std::memcpy(&value, from + 2 * i * stride, sizeof value);
    if (invert) value = static_cast<uint16_t>(65535 - value);
    if (opponent) value = opponent16(value);
    std::memcpy(to, &value, sizeof value);
  }
}

void TiffSampleCopier::copyPacked(const uint8_t* from, int64_t n, bool invert, uint8_t* to) const {
  const int bits = tags_.bits, largest = (1 << bits) - 1, perByte = 8 / bits;
  for (int64_t i = 0; i < n; ++i, to += step_) {
    const int shift = 8 - bits - static_cast<int>(i % perByte) * bits;
    const int value = from[i / perByte] >> shift & largest;
    *to = static_cast<uint8_t>((invert ? largest - value : value) * 255 / largest);
  }
}

void TiffSampleCopier::copyFloats(const uint8_t* from, int stride, int64_t n, bool invert,
                                  uint8_t* to) const {
  for (int64_t i = 0; i < n; ++i, to += step_) {
    float value = readFloat(from + i * stride * (tags_.bits / 8), tags_.bits);
    if (invert) value = 1 - value;
    std::memcpy(to, &value, sizeof value);
  }
}

}  // namespace vello
