// One filter, or a few, of every kind of kernel.
#pragma once

#include "bench/bench_scene.h"

namespace vello::bench {

struct Case {
  const char* name;  // kind/filter
  CIImage (*image)(const Scene&);
};

inline CIVector middle(const Scene& s) { return CIVector{s.width / 2.0, s.height / 2.0}; }

inline constexpr Case kCases[] = {
    {"point/exposure",
     [](const Scene& s) {
       return filtered("CIExposureAdjust", s.picture, {{"inputEV", 0.5}});
     }},
    {"point/gamma",
     [](const Scene& s) {
       return filtered("CIGammaAdjust", s.picture, {{"inputPower", 0.8}});
     }},
    {"blend/multiply",
     [](const Scene& s) {
       return filtered("CIMultiplyCompositing", s.second, {{kCIInputBackgroundImageKey, s.picture}});
     }},
    {"blend/mask",
     [](const Scene& s) {
       return filtered("CIBlendWithMask", s.picture,
                       {{kCIInputBackgroundImageKey, s.second}, {"inputMaskImage", s.picture}});
     }},
    {"generate/checkerboard", [](const Scene&) { return filtered("CICheckerboardGenerator", {}); }},
    {"generate/radial gradient",
     [](const Scene& s) {
       return filtered("CIRadialGradient", {}, {{"inputCenter", middle(s)}, {"inputRadius1", 1500.0}});
     }},
    {"warp/twirl",
     [](const Scene& s) {
       return filtered("CITwirlDistortion", s.picture, {{"inputCenter", middle(s)}, {"inputRadius", 1000.0}});
     }},
    {"warp/bump",
     [](const Scene& s) {
       return filtered("CIBumpDistortion", s.picture, {{"inputCenter", middle(s)}, {"inputRadius", 1000.0}});
     }},
    {"warp/pixellate",
     [](const Scene& s) {
       return filtered("CIPixellate", s.picture, {{"inputScale", 16.0}});
     }},
    {"taps/displacement",
     [](const Scene& s) {
       return filtered("CIDisplacementDistortion", s.picture, {{"inputDisplacementImage", s.second}});
     }},
    {"separable/box 10",
     [](const Scene& s) {
       return filtered("CIBoxBlur", s.picture, {{"inputRadius", 21.0}});
     }},
    {"separable/gaussian 3",
     [](const Scene& s) {
       return filtered("CIGaussianBlur", s.picture, {{"inputRadius", 3.0}});
     }},
    {"separable/gaussian 10",
     [](const Scene& s) {
       return filtered("CIGaussianBlur", s.picture, {{"inputRadius", 10.0}});
     }},
    {"separable/gaussian 50",
     [](const Scene& s) {
       return filtered("CIGaussianBlur", s.picture, {{"inputRadius", 50.0}});
     }},
    {"line/motion 20",
     [](const Scene& s) {
       return filtered("CIMotionBlur", s.picture, {{"inputRadius", 20.0}, {"inputAngle", 0.5}});
     }},
    {"area/median", [](const Scene& s) { return filtered("CIMedianFilter", s.picture); }},
    {"resample/rotate",
     [](const Scene& s) {
       return s.picture.imageByApplyingTransform(
           {std::cos(0.17), std::sin(0.17), -std::sin(0.17), std::cos(0.17), 0, 0});
     }},
    {"resample/lanczos 0.5",
     [](const Scene& s) {
       return filtered("CILanczosScaleTransform", s.picture, {{"inputScale", 0.5}});
     }},
    {"compose/unsharp", [](const Scene& s) { return filtered("CIUnsharpMask", s.picture); }},
    {"compose/bloom", [](const Scene& s) { return filtered("CIBloom", s.picture); }},
    {"compose/blur behind a twirl",
     [](const Scene& s) {
       return filtered("CITwirlDistortion", filtered("CIGaussianBlur", s.picture, {{"inputRadius", 10.0}}),
                       {{"inputCenter", middle(s)}, {"inputRadius", 1000.0}});
     }},
    {"compose/designer's stack", [](const Scene& s) { return designersStack(s); }},
};

}  // namespace vello::bench
