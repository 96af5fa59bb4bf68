#include "platform/color_space.h"

#include <algorithm>
#include <cmath>

#include "platform/icc_profile.h"
#include "platform/matrix_color_space.h"
#include "platform/one_way_color_space.h"

namespace vello {

namespace {

constexpr Primaries kDisplayP3Primaries{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}};  // SMPTE EG 432-1
constexpr Primaries kAdobeRGBPrimaries{{0.64, 0.33}, {0.21, 0.71}, {0.15, 0.06}};  // Adobe RGB (1998), 4.3.1
// P22 phosphors, D65 and gamma 1.8 (developer.apple.com, Technical Q&A QA1430); the chromaticities are those
// that tables of RGB spaces list as "Generic RGB", equal to that profile's published colorants taken to D65.
constexpr Primaries kGenericRGBPrimaries{{0.6295, 0.3407}, {0.2949, 0.6055}, {0.1551, 0.0762}};

ColorSpacePtr makeRGB(const char* name, const Primaries& primaries, const CurvePtr& curve,
                      const ProfileCurve& profileCurve) {
  const Matrix3 toSRGB = inverse(rgbToXYZ(kSRGBPrimaries)) * rgbToXYZ(primaries);
  return std::make_shared<MatrixColorSpace>(name, makeRGBProfile(name, primaries, profileCurve),
                                            std::array{curve, curve, curve}, toSRGB);
}

ColorSpacePtr makeSRGB(const char* name, const CurvePtr& curve, const ProfileCurve& profileCurve) {
  return std::make_shared<MatrixColorSpace>(name, makeRGBProfile(name, kSRGBPrimaries, profileCurve),
                                            std::array{curve, curve, curve}, kIdentityMatrix);
}

}  // namespace

int ColorSpace::componentCount() const {
  switch (model()) {
    case Model::gray:
      return 1;
    case Model::cmyk:
      return 4;
    default:
      return 3;
  }
}

CurvePtr makeGammaCurve(double gamma) {
  return std::make_shared<ColorCurve>(ColorCurve::Parameters{.g = gamma});
}

CurvePtr sRGBCurve() {
  static const CurvePtr curve = std::make_shared<ColorCurve>(
      ColorCurve::Parameters{.g = 2.4, .a = 1 / 1.055, .b = 0.055 / 1.055, .c = 1 / 12.92, .d = 0.04045});
  return curve;
}

bool sameSpace(const ColorSpacePtr& a, const ColorSpacePtr& b) {
  return a == b || (a && b && a->profile() == b->profile());
}

double sRGBDecode(double encoded) { return sRGBCurve()->decode(encoded); }
double sRGBEncode(double linear) { return sRGBCurve()->encode(linear); }

ColorSpacePtr ColorSpace::sRGB() {
  static const ColorSpacePtr space = makeSRGB("sRGB", sRGBCurve(), ProfileCurve::sRGB());
  return space;
}

ColorSpacePtr ColorSpace::named(std::string_view name) {
  static const ColorSpacePtr linear = makeSRGB("linear sRGB", makeGammaCurve(1), ProfileCurve::gamma(1));
  static const ColorSpacePtr displayP3 =
      makeRGB("Display P3", kDisplayP3Primaries, sRGBCurve(), ProfileCurve::sRGB());
  static const double adobeGamma = 563.0 / 256;
  static const ColorSpacePtr adobe =
      makeRGB("Adobe RGB", kAdobeRGBPrimaries, makeGammaCurve(adobeGamma), ProfileCurve::gamma(adobeGamma));
  static const ColorSpacePtr generic =
      makeRGB("generic RGB", kGenericRGBPrimaries, makeGammaCurve(1.8), ProfileCurve::gamma(1.8));
  static const ColorSpacePtr gray = std::make_shared<MatrixColorSpace>(
      "generic gray", makeGrayProfile("generic gray", ProfileCurve::gamma(2.2)), makeGammaCurve(2.2));
  static const ColorSpacePtr sRGBGray = std::make_shared<MatrixColorSpace>(
      "sRGB gray", makeGrayProfile("sRGB gray", ProfileCurve::sRGB()), sRGBCurve());
  static const ColorSpacePtr linearGray = std::make_shared<MatrixColorSpace>(
      "linear gray", makeGrayProfile("linear gray", ProfileCurve::gamma(1)), makeGammaCurve(1));
  static const ColorSpacePtr deviceCMYK = makeDeviceCMYK();
  static const ColorSpacePtr lab = makeCIELab();
  for (const ColorSpacePtr& space :
       {sRGB(), linear, displayP3, adobe, generic, gray, sRGBGray, linearGray, deviceCMYK, lab}) {
    if (space->name() == name) return space;
  }
  return nullptr;
}

MatrixColorSpace::MatrixColorSpace(std::string name, Data profile, std::array<CurvePtr, 3> curves,
                                   const Matrix3& toSRGB)
    : model_(Model::rgb),
      name_(std::move(name)),
      profile_(std::move(profile)),
      curves_(std::move(curves)),
      toSRGB_(toSRGB),
      fromSRGB_(inverse(toSRGB)) {}

MatrixColorSpace::MatrixColorSpace(std::string name, Data profile, const CurvePtr& curve)
    : model_(Model::gray),
      name_(std::move(name)),
      profile_(std::move(profile)),
      curves_{curve, curve, curve},
      toSRGB_(kIdentityMatrix) {
  const Matrix3 xyz = rgbToXYZ(kSRGBPrimaries);  // its second row is luminance
  fromSRGB_ = {xyz[3], xyz[4], xyz[5], xyz[3], xyz[4], xyz[5], xyz[3], xyz[4], xyz[5]};
}

void MatrixColorSpace::toLinear(const float* components, float* rgb, size_t n) const {
  const size_t count = static_cast<size_t>(componentCount());
  for (size_t i = 0; i < n; ++i, components += count, rgb += 3) {
    Vector3 light;
    for (size_t k = 0; k < 3; ++k) light[k] = curves_[k]->decoder()(components[count == 1 ? 0 : k]);
    light = toSRGB_ * light;
    for (size_t k = 0; k < 3; ++k) rgb[k] = static_cast<float>(light[k]);
  }
}

void MatrixColorSpace::fromLinear(const float* rgb, float* components, size_t n) const {
  const size_t count = static_cast<size_t>(componentCount());
  for (size_t i = 0; i < n; ++i, components += count, rgb += 3) {
    const Vector3 light = fromSRGB_ * Vector3{rgb[0], rgb[1], rgb[2]};
    for (size_t k = 0; k < count; ++k) {
      components[k] = static_cast<float>(curves_[k]->encoder()(static_cast<float>(light[k])));
    }
  }
}

}  // namespace vello
