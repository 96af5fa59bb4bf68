#include "platform/one_way_color_space.h"

#include <algorithm>
#include <stdexcept>

#include "platform/color_matrix.h"

namespace vello {

void OneWayColorSpace::refuse() { throw std::logic_error("the colour space has no matrix"); }

namespace {

double unit(float x) { return x > 0 ? std::min(x, 1.0f) : 0.0f; }  // NaN is 0

class DeviceCMYK final : public OneWayColorSpace {
 public:
  DeviceCMYK() : OneWayColorSpace(Model::cmyk, "device CMYK", {}) {}
  void toLinear(const float* components, float* rgb, size_t n) const override {
    for (size_t i = 0; i < 4 * n; i += 4) {
      for (size_t k = 0; k < 3; ++k) {
        const double encoded = (1 - unit(components[i + k])) * (1 - unit(components[i + 3]));
        *rgb++ = static_cast<float>(sRGBDecode(encoded));
      }
    }
  }
};

class CIELab final : public OneWayColorSpace {
 public:
  CIELab()
      : OneWayColorSpace(Model::lab, "CIE Lab", {}),
        fromXYZ_(inverse(adaptD65ToD50() * rgbToXYZ(kSRGBPrimaries))) {}
  void toLinear(const float* components, float* rgb, size_t n) const override {
    for (size_t i = 0; i < n; ++i, components += 3, rgb += 3) {
      const double y = (unit(components[0]) * 100 + 16) / 116;
      const double x = y + (unit(components[1]) * 255 - 128) / 500;
      const double z = y - (unit(components[2]) * 255 - 128) / 200;
      const Vector3 light =
          fromXYZ_ * Vector3{kD50XYZ[0] * cubed(x), kD50XYZ[1] * cubed(y), kD50XYZ[2] * cubed(z)};
      for (size_t k = 0; k < 3; ++k) rgb[k] = static_cast<float>(light[k]);
    }
  }

 private:
  // The inverse of CIE 15's f.
  static double cubed(double f) { return f > 6.0 / 29 ? f * f * f : (f - 4.0 / 29) * 3 * 36 / 841; }
  Matrix3 fromXYZ_;
};

}  // namespace

ColorSpacePtr makeDeviceCMYK() { return std::make_shared<DeviceCMYK>(); }
ColorSpacePtr makeCIELab() { return std::make_shared<CIELab>(); }

}  // namespace vello
