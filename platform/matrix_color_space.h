// Colour spaces that three curves and a matrix describe.
#pragma once

#include <memory>
#include <string>

#include "platform/color_curve.h"
#include "platform/color_matrix.h"
#include "platform/color_space.h"

namespace vello {

using CurvePtr = std::shared_ptr<const ColorCurve>;

class MatrixColorSpace final : public ColorSpace {
 public:
  // RGB: `toSRGB` takes its linear light to linear sRGB primaries. The curves must be increasing.
  MatrixColorSpace(std::string name, Data profile, std::array<CurvePtr, 3> curves, const Matrix3& toSRGB);
  // Grey.
  MatrixColorSpace(std::string name, Data profile, const CurvePtr& curve);

  Model model() const override { return model_; }
  const Data& profile() const override { return profile_; }
  std::string name() const override { return name_; }
  bool isMatrix() const override { return true; }
  void toLinear(const float* components, float* rgb, size_t n) const override;
  void fromLinear(const float* rgb, float* components, size_t n) const override;
  double decode(int channel, double encoded) const override { return curve(channel).decode(encoded); }
  double encode(int channel, double linear) const override { return curve(channel).encode(linear); }
  const Matrix3& toSRGB() const override { return toSRGB_; }
  const Matrix3& fromSRGB() const override { return fromSRGB_; }
  const ColorCurve& curve(int channel) const override { return *curves_[static_cast<size_t>(channel)]; }

 private:
  Model model_;
  std::string name_;
  Data profile_;
  std::array<CurvePtr, 3> curves_;
  Matrix3 toSRGB_, fromSRGB_;
};

CurvePtr makeGammaCurve(double gamma);
CurvePtr sRGBCurve();

}  // namespace vello
