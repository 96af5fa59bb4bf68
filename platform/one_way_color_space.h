// Colour spaces that are only read: no curves and matrix describe them.
#pragma once

#include <string>

#include "platform/color_space.h"

namespace vello {

class OneWayColorSpace : public ColorSpace {
 public:
  OneWayColorSpace(Model model, std::string name, Data profile)
      : model_(model), name_(std::move(name)), profile_(std::move(profile)) {}

  Model model() const override { return model_; }
  const Data& profile() const override { return profile_; }
  std::string name() const override { return name_; }
  bool isMatrix() const override { return false; }
  // All of these throw: our own mistake.
  void fromLinear(const float*, float*, size_t) const override { refuse(); }
  double decode(int, double) const override { refuse(); }
  double encode(int, double) const override { refuse(); }
  const std::array<double, 9>& toSRGB() const override { refuse(); }
  const std::array<double, 9>& fromSRGB() const override { refuse(); }
  const ColorCurve& curve(int) const override { refuse(); }

 private:
  [[noreturn]] static void refuse();
  Model model_;
  std::string name_;
  Data profile_;
};

// CMYK pixels that came without a profile.
ColorSpacePtr makeDeviceCMYK();
// CIE L*a*b* of D50, as TIFF files hold it.
ColorSpacePtr makeCIELab();

}  // namespace vello
