// Colour spaces of sources and results, and their way to linear light.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/data.h"

namespace vello {

class ColorCurve;
class ColorSpace;
using ColorSpacePtr = std::shared_ptr<const ColorSpace>;

// Immutable and safe to share between threads.
class ColorSpace {
 public:
  enum class Model { gray, rgb, cmyk, lab };

  // "sRGB", "linear sRGB", "Display P3", "Adobe RGB", "generic RGB" (gamma 1.8, its published primaries),
  // "generic gray" (gamma 2.2), "sRGB gray", "linear gray"; without a profile and only read: "device CMYK"
  // (sRGB's encoded values are (1 - ink)(1 - black)) and "CIE Lab" (D50). Null for another name.
  static ColorSpacePtr named(std::string_view name);
  static ColorSpacePtr sRGB();
  // Any ICC profile of a grey, RGB, CMYK or Lab source; null when the bytes are none, yield no transform or
  // exceed 32 MB. A profile that means sRGB, but for the rounding of its numbers, is taken as exactly sRGB.
  static ColorSpacePtr fromProfile(std::span<const uint8_t> icc);

  virtual ~ColorSpace() = default;
  virtual Model model() const = 0;
  int componentCount() const;
  // The ICC profile that is embedded into results in this space.
  virtual const Data& profile() const = 0;
  virtual std::string name() const = 0;
  // Curves and a matrix describe it wholly, and the curves are increasing: the only spaces a result can be in
  // or an engine can work in.
  virtual bool isMatrix() const = 0;

  // n pixels of componentCount() interleaved components, 0..1 encoded, to linear light with sRGB primaries,
  // 3 floats a pixel, unclamped. A matrix space continues values outside 0..1; others clamp them. Of CMYK 1
  // is full ink; of Lab the three are L/100 and (a + 128)/255, (b + 128)/255.
  virtual void toLinear(const float* components, float* rgb, size_t n) const = 0;
  // The inverse; requires isMatrix(). Encoded components, unclamped.
  virtual void fromLinear(const float* rgb, float* components, size_t n) const = 0;

  // Of a matrix space. Encoded value to light and back, per channel (grey spaces have three equal ones).
  virtual double decode(int channel, double encoded) const = 0;
  virtual double encode(int channel, double linear) const = 0;
  // Row-major: this space's linear light to linear sRGB primaries, and back.
  virtual const std::array<double, 9>& toSRGB() const = 0;
  virtual const std::array<double, 9>& fromSRGB() const = 0;
  // Its tone curve and the tables made from it.
  virtual const ColorCurve& curve(int channel) const = 0;
};

// The same object, or the same profile.
bool sameSpace(const ColorSpacePtr& a, const ColorSpacePtr& b);

// The piecewise sRGB curve of IEC 61966-2-1, mirrored for negative values.
double sRGBDecode(double encoded);
double sRGBEncode(double linear);

}  // namespace vello
