// ICC profiles that tests build with Little CMS.
#pragma once

#include <lcms2.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vello::testing {

struct RGBProfile {
  const char* name;
  double xy[8];  // red, green, blue, white
  double gamma;  // 0: the sRGB curve
};

inline constexpr double kWhiteX = 0.3127, kWhiteY = 0.3290;
inline const RGBProfile kRGBProfiles[] = {
    {"sRGB", {0.64, 0.33, 0.30, 0.60, 0.15, 0.06, kWhiteX, kWhiteY}, 0},
    {"DisplayP3", {0.68, 0.32, 0.265, 0.69, 0.15, 0.06, kWhiteX, kWhiteY}, 0},
    {"AdobeRGB", {0.64, 0.33, 0.21, 0.71, 0.15, 0.06, kWhiteX, kWhiteY}, 563.0 / 256},
    {"ProPhotoLike", {0.7347, 0.2653, 0.1596, 0.8404, 0.0366, 0.0001, 0.3457, 0.3585}, 1.8},
    {"WideGamut", {0.7350, 0.2650, 0.1150, 0.8260, 0.1570, 0.0180, 0.3457, 0.3585}, 2.2},
    {"Rec2020", {0.708, 0.292, 0.170, 0.797, 0.131, 0.046, kWhiteX, kWhiteY}, 2.4},
    {"P3Gamma26", {0.68, 0.32, 0.265, 0.69, 0.15, 0.06, kWhiteX, kWhiteY}, 2.6},
    {"AcesLike", {0.7347, 0.2653, 0.0, 1.0, 0.0001, -0.0770, 0.32168, 0.33767}, 2.2},
};

inline cmsToneCurve* makeToneCurve(double gamma) {
  if (gamma > 0) return cmsBuildGamma(nullptr, gamma);
  const double parameters[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
  return cmsBuildParametricToneCurve(nullptr, 4, parameters);
}

inline std::vector<uint8_t> saved(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::vector<uint8_t> bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

// Frees the curve.
inline std::vector<uint8_t> makeProfile(const RGBProfile& p, cmsToneCurve* curve) {
  const cmsCIExyY white{p.xy[6], p.xy[7], 1};
  const cmsCIExyYTRIPLE primaries{{p.xy[0], p.xy[1], 1}, {p.xy[2], p.xy[3], 1}, {p.xy[4], p.xy[5], 1}};
  cmsToneCurve* curves[3] = {curve, curve, curve};
  std::vector<uint8_t> bytes = saved(cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(curve);
  return bytes;
}

inline std::vector<uint8_t> makeProfile(const RGBProfile& p) {
  return makeProfile(p, makeToneCurve(p.gamma));
}

inline std::vector<uint8_t> makeGrayProfile(double gamma) {
  cmsToneCurve* curve = makeToneCurve(gamma);
  std::vector<uint8_t> bytes = saved(cmsCreateGrayProfile(cmsD50_xyY(), curve));
  cmsFreeToneCurve(curve);
  return bytes;
}

// CMYK with a 3-point table to Lab: ink darkens evenly.
inline std::vector<uint8_t> makeCMYKProfile() {
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 4.3);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, cmsSigCmykData);
  cmsSetPCS(profile, cmsSigLabData);
  cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
  cmsStage* table = cmsStageAllocCLut16bit(nullptr, 3, 4, 3, nullptr);
  const auto fill = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> cmsInt32Number {
    const double light = (1 - in[3] / 65535.0) * (1 - (in[0] + in[1] + in[2]) / 3.0 / 65535.0);
    out[0] = static_cast<cmsUInt16Number>(light * 65535);
    out[1] = static_cast<cmsUInt16Number>(32896 + (in[1] - in[0]) / 4);
    out[2] = static_cast<cmsUInt16Number>(32896 + (in[2] - in[0]) / 4);
    return 1;
  };
  cmsStageSampleCLut16bit(table, fill, nullptr, 0);
  cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
  cmsPipelineInsertStage(pipeline, cmsAT_END, table);
  cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
  cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
  cmsPipelineFree(pipeline);
  return saved(profile);
}

}  // namespace vello::testing
