#include "platform/icc_profile.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "platform/matrix_color_space.h"
#include "platform/one_way_color_space.h"

namespace vello {

namespace {

constexpr size_t kLargestProfile = size_t{32} << 20;

// Of our own, so that an error handler that a host gave Little CMS is never called for our files.
cmsContext context() {
  static const cmsContext own = cmsCreateContext(nullptr, nullptr);
  return own;
}

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using ProfilePtr = std::unique_ptr<void, ProfileCloser>;

struct ToneCurveFreer {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using ToneCurvePtr = std::unique_ptr<cmsToneCurve, ToneCurveFreer>;

struct TransformDeleter {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using TransformPtr = std::unique_ptr<void, TransformDeleter>;

ToneCurvePtr makeToneCurve(const ProfileCurve& curve) {
  return ToneCurvePtr(cmsBuildParametricToneCurve(context(), curve.type + 1, curve.parameters.data()));
}

void setDescription(cmsHPROFILE profile, const char* name) {
  cmsMLU* text = cmsMLUalloc(context(), 1);
  cmsMLUsetASCII(text, "en", "US", name);
  cmsWriteTag(profile, cmsSigProfileDescriptionTag, text);
  cmsMLUsetASCII(text, "en", "US", "No copyright, use freely");
  cmsWriteTag(profile, cmsSigCopyrightTag, text);
  cmsMLUfree(text);
}

// The profile's bytes with a fixed date, so that equal renders are equal files.
Data bytesOf(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::vector<uint8_t> bytes(size);
  if (!cmsSaveProfileToMem(profile, bytes.data(), &size)) return {};
  constexpr uint8_t kDate[12] = {0x07, 0xe8, 0, 1, 0, 1};  // 2024-01-01, big-endian shorts
  constexpr size_t kDateOffset = 24;
  std::copy(std::begin(kDate), std::end(kDate), bytes.begin() + kDateOffset);
  return Data(std::move(bytes));
}

cmsCIExyY whitePoint() { return {kD65.x, kD65.y, 1}; }

ProfilePtr linearSRGB() {
  const cmsCIExyY white = whitePoint();
  const cmsCIExyYTRIPLE primaries{{kSRGBPrimaries.red.x, kSRGBPrimaries.red.y, 1},
                                  {kSRGBPrimaries.green.x, kSRGBPrimaries.green.y, 1},
                                  {kSRGBPrimaries.blue.x, kSRGBPrimaries.blue.y, 1}};
  const ToneCurvePtr curve = makeToneCurve(ProfileCurve::gamma(1));
  cmsToneCurve* curves[3] = {curve.get(), curve.get(), curve.get()};
  return ProfilePtr(cmsCreateRGBProfileTHR(context(), &white, &primaries, curves));
}

std::string descriptionOf(cmsHPROFILE profile) {
  char text[256] = {};
  cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", text, sizeof text);
  text[sizeof text - 1] = 0;
  return text;
}

// Null when the tag is missing or its curve is not increasing.
CurvePtr readCurve(cmsHPROFILE profile, cmsTagSignature tag) {
  const auto* curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile, tag));
  if (!curve) return nullptr;
  std::shared_ptr<ColorCurve> result;
  const double* p = cmsGetToneCurveParams(curve);
  switch (cmsGetToneCurveParametricType(curve)) {
    case 0: {
      const auto* table = cmsGetToneCurveEstimatedTable(curve);
      std::vector<double> points(cmsGetToneCurveEstimatedTableEntries(curve));
      if (points.size() < 2) return nullptr;
      std::transform(table, table + points.size(), points.begin(), [](uint16_t v) { return v / 65535.0; });
      result = std::make_shared<ColorCurve>(std::move(points));
      break;
    }
    case 1:
      result = std::make_shared<ColorCurve>(ColorCurve::Parameters{.g = p[0]});
      break;
    case 2:
      result = std::make_shared<ColorCurve>(
          ColorCurve::Parameters{.g = p[0], .a = p[1], .b = p[2], .d = -p[2] / p[1]});
      break;
    case 3:
      result = std::make_shared<ColorCurve>(
          ColorCurve::Parameters{.g = p[0], .a = p[1], .b = p[2], .d = -p[2] / p[1], .e = p[3], .f = p[3]});
      break;
    case 4:
      result = std::make_shared<ColorCurve>(
          ColorCurve::Parameters{.g = p[0], .a = p[1], .b = p[2], .c = p[3], .d = p[4]});
      break;
    case 5:
      result = std::make_shared<ColorCurve>(ColorCurve::Parameters{
          .g = p[0], .a = p[1], .b = p[2], .c = p[3], .d = p[4], .e = p[5], .f = p[6]});
      break;
    default:
      return nullptr;
  }
  return result->increasing() ? result : nullptr;
}

bool hasTables(cmsHPROFILE profile) {
  for (const cmsTagSignature tag : {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag, cmsSigDToB0Tag,
                                    cmsSigDToB1Tag, cmsSigDToB2Tag, cmsSigDToB3Tag}) {
    if (cmsIsTag(profile, tag)) return true;
  }
  return false;
}

bool closeToSRGB(const ColorCurve& curve) {
  for (int i = 0; i <= 255; ++i) {
    if (std::abs(curve.decode(i / 255.0) - sRGBDecode(i / 255.0)) > 1e-4) return false;
  }
  return true;
}

// Null unless the colorants are sound.
ColorSpacePtr readMatrixRGB(cmsHPROFILE profile, Data bytes) {
  std::array<CurvePtr, 3> curves;
  Matrix3 toXYZ{};
  constexpr std::pair<cmsTagSignature, cmsTagSignature> kTags[3] = {
      {cmsSigRedTRCTag, cmsSigRedColorantTag},
      {cmsSigGreenTRCTag, cmsSigGreenColorantTag},
      {cmsSigBlueTRCTag, cmsSigBlueColorantTag}};
  for (size_t k = 0; k < 3; ++k) {
    curves[k] = readCurve(profile, kTags[k].first);
    const auto* colorant = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, kTags[k].second));
    if (!curves[k] || !colorant) return nullptr;
    if (k > 0 && curves[k]->sameAs(*curves[0])) curves[k] = curves[0];  // and its tables
    toXYZ[k] = colorant->X, toXYZ[3 + k] = colorant->Y, toXYZ[6 + k] = colorant->Z;
  }
  if (!(std::abs(determinant(toXYZ)) > 1e-4)) return nullptr;
  const Matrix3 sRGBToXYZ = adaptD65ToD50() * rgbToXYZ(kSRGBPrimaries);
  double distance = 0;
  for (size_t i = 0; i < 9; ++i) distance = std::max(distance, std::abs(toXYZ[i] - sRGBToXYZ[i]));
  constexpr double kColorantRounding = 3e-4;  // of the sRGB profiles in circulation
  if (distance > kColorantRounding) {
    return std::make_shared<MatrixColorSpace>(descriptionOf(profile), std::move(bytes), std::move(curves),
                                              inverse(sRGBToXYZ) * toXYZ);
  }
  for (CurvePtr& curve : curves) {
    if (closeToSRGB(*curve)) curve = sRGBCurve();
  }
  return std::make_shared<MatrixColorSpace>(descriptionOf(profile), std::move(bytes), std::move(curves),
                                            kIdentityMatrix);
}

ColorSpacePtr readMatrixSpace(cmsHPROFILE profile, ColorSpace::Model model, const Data& bytes) {
  if (cmsGetPCS(profile) != cmsSigXYZData || hasTables(profile)) return nullptr;
  if (model == ColorSpace::Model::rgb) return readMatrixRGB(profile, bytes);
  if (model != ColorSpace::Model::gray) return nullptr;
  const CurvePtr curve = readCurve(profile, cmsSigGrayTRCTag);
  if (!curve) return nullptr;
  return std::make_shared<MatrixColorSpace>(descriptionOf(profile), bytes, curve);
}

// Everything that only Little CMS can convert, and only to light.
class TransformColorSpace final : public OneWayColorSpace {
 public:
  TransformColorSpace(Model model, std::string name, Data profile, TransformPtr transform)
      : OneWayColorSpace(model, std::move(name), std::move(profile)), transform_(std::move(transform)) {}
  void toLinear(const float* components, float* rgb, size_t n) const override;

 private:
  TransformPtr transform_;  // without a cache: safe to share
};

void TransformColorSpace::toLinear(const float* components, float* rgb, size_t n) const {
  constexpr size_t kBlock = 256;
  float values[kBlock * 4];
  const size_t count = static_cast<size_t>(componentCount());
  const bool lab = model() == Model::lab;
  const float scale = model() == Model::cmyk ? 100 : 1;
  for (size_t done = 0; done < n; done += kBlock) {
    const size_t pixels = std::min(kBlock, n - done);
    for (size_t i = 0; i < pixels * count; ++i) {
      const float x = components[done * count + i];
      const float clamped = x > 0 ? std::min(x, 1.0f) : 0.0f;  // NaN is 0
      values[i] = !lab ? clamped * scale : i % 3 == 0 ? clamped * 100 : clamped * 255 - 128;
    }
    cmsDoTransform(transform_.get(), values, rgb + done * 3, static_cast<cmsUInt32Number>(pixels));
  }
}

TransformPtr makeTransform(cmsHPROFILE profile, ColorSpace::Model model) {
  cmsUInt32Number format = TYPE_RGB_FLT;
  if (model == ColorSpace::Model::gray) format = TYPE_GRAY_FLT;
  if (model == ColorSpace::Model::cmyk) format = TYPE_CMYK_FLT;
  if (model == ColorSpace::Model::lab) format = TYPE_Lab_FLT;
  const ProfilePtr target = linearSRGB();
  return TransformPtr(cmsCreateTransformTHR(context(), profile, format, target.get(), TYPE_RGB_FLT,
                                            INTENT_RELATIVE_COLORIMETRIC,
                                            cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION));
}

// Of a profile's header. Little CMS hands them out as enumerations, which any other number would break.
uint32_t signatureAt(std::span<const uint8_t> icc, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8 | icc[offset + i];
  return value;
}

bool isSource(std::span<const uint8_t> icc) {
  const uint32_t deviceClass = signatureAt(icc, 12), pcs = signatureAt(icc, 20);
  return (deviceClass == cmsSigInputClass || deviceClass == cmsSigDisplayClass ||
          deviceClass == cmsSigOutputClass || deviceClass == cmsSigColorSpaceClass) &&
         (pcs == cmsSigXYZData || pcs == cmsSigLabData);
}

std::optional<ColorSpace::Model> modelOf(std::span<const uint8_t> icc) {
  switch (signatureAt(icc, 16)) {
    case cmsSigGrayData:
      return ColorSpace::Model::gray;
    case cmsSigRgbData:
      return ColorSpace::Model::rgb;
    case cmsSigCmykData:
      return ColorSpace::Model::cmyk;
    case cmsSigLabData:
      return ColorSpace::Model::lab;
    default:
      return std::nullopt;
  }
}

}  // namespace

Data makeRGBProfile(const char* name, const Primaries& primaries, const ProfileCurve& curve) {
  const cmsCIExyY white = whitePoint();
  const cmsCIExyYTRIPLE xy{{primaries.red.x, primaries.red.y, 1},
                           {primaries.green.x, primaries.green.y, 1},
                           {primaries.blue.x, primaries.blue.y, 1}};
  const ToneCurvePtr tone = makeToneCurve(curve);
  cmsToneCurve* curves[3] = {tone.get(), tone.get(), tone.get()};
  const ProfilePtr profile(cmsCreateRGBProfileTHR(context(), &white, &xy, curves));
  setDescription(profile.get(), name);
  return bytesOf(profile.get());
}

Data makeGrayProfile(const char* name, const ProfileCurve& curve) {
  const cmsCIExyY white = *cmsD50_xyY();
  const ProfilePtr profile(cmsCreateGrayProfileTHR(context(), &white, makeToneCurve(curve).get()));
  setDescription(profile.get(), name);
  return bytesOf(profile.get());
}

ColorSpacePtr ColorSpace::fromProfile(std::span<const uint8_t> icc) {
  constexpr size_t kHeaderSize = 128;
  if (icc.size() < kHeaderSize || icc.size() > kLargestProfile) return nullptr;
  const std::optional<Model> model = modelOf(icc);
  if (!model || !isSource(icc)) return nullptr;
  const ProfilePtr profile(
      cmsOpenProfileFromMemTHR(context(), icc.data(), static_cast<cmsUInt32Number>(icc.size())));
  if (!profile) return nullptr;
  const Data bytes(std::vector<uint8_t>(icc.begin(), icc.end()));
  if (ColorSpacePtr space = readMatrixSpace(profile.get(), *model, bytes)) return space;
  TransformPtr transform = makeTransform(profile.get(), *model);
  if (!transform) return nullptr;
  return std::make_shared<TransformColorSpace>(*model, descriptionOf(profile.get()), bytes,
                                               std::move(transform));
}

}  // namespace vello
