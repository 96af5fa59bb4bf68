// ICC profiles through Little CMS: those we write, and the spaces that profiles describe.
#pragma once

#include <vector>

#include "platform/color_matrix.h"
#include "platform/color_space.h"

namespace vello {

// A curve as a profile stores it: the type and parameters of an ICC.1 'para' curve.
struct ProfileCurve {
  int type = 0;
  std::vector<double> parameters;
  static ProfileCurve gamma(double gamma) { return {0, {gamma}}; }
  static ProfileCurve sRGB() { return {3, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}}; }
};

// Profiles of D65 spaces, the same bytes at any time.
Data makeRGBProfile(const char* name, const Primaries& primaries, const ProfileCurve& curve);
Data makeGrayProfile(const char* name, const ProfileCurve& curve);

}  // namespace vello
