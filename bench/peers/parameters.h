// What the jobs ask of every program, so that the same work is asked of each.
#pragma once

#include <array>
#include <cmath>

namespace vello::bench {

using Matrix3 = std::array<double, 9>;  // row-major, on red, green, blue

inline constexpr double kExposureStops = 0.3, kExposureGain = 1.2311444133449163;
inline constexpr double kHueRadians = 0.3, kSaturation = 1.2;
inline constexpr Matrix3 kColorMatrix = {0.9, 0.1, 0, 0.05, 0.9, 0.05, 0, 0.1, 0.9};
inline constexpr double kUnsharpSigma = 2.5, kUnsharpAmount = 0.5;
inline constexpr double kStackSigma = 4, kVignetteAlpha = 0.6, kVignetteReach = 0.7;  // of the height
inline constexpr double kCropMargin = 0.1;                                            // of each side
inline constexpr int kTurnDegrees = 10, kCell = 16, kTwirlDegrees = 90;

// The hueRotate filter primitive of the W3C Filter Effects Module Level 1.
inline Matrix3 hueMatrix() {
  constexpr double light[3] = {0.213, 0.715, 0.072};
  constexpr Matrix3 sines = {-0.213, -0.715, 0.928, 0.143, 0.140, -0.283, -0.787, 0.715, 0.072};
  Matrix3 m;
  for (int row = 0; row < 3; ++row)
    for (int k = 0; k < 3; ++k)
      m[3 * row + k] = light[k] + std::cos(kHueRadians) * ((row == k ? 1 : 0) - light[k]) +
                       std::sin(kHueRadians) * sines[3 * row + k];
  return m;
}

// Away from the luminance of ITU-R BT.709.
inline Matrix3 saturationMatrix() {
  constexpr double light[3] = {0.2126, 0.7152, 0.0722};
  Matrix3 m;
  for (int row = 0; row < 3; ++row)
    for (int k = 0; k < 3; ++k) m[3 * row + k] = (1 - kSaturation) * light[k] + (row == k ? kSaturation : 0);
  return m;
}

}  // namespace vello::bench
