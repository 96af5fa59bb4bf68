// 3 x 3 matrices of doubles, row-major, and the primaries of colour spaces.
#pragma once

#include <array>
#include <cstddef>

namespace vello {

using Matrix3 = std::array<double, 9>;
using Vector3 = std::array<double, 3>;

struct Chromaticity {
  double x, y;
};

struct Primaries {
  Chromaticity red, green, blue;
};

// CIE standard illuminant D65 as ITU-R BT.709 and IEC 61966-2-1 state it, and the ICC's D50.
inline constexpr Chromaticity kD65{0.3127, 0.3290};
inline constexpr Vector3 kD50XYZ{0.9642, 1.0, 0.8249};
// ITU-R BT.709.
inline constexpr Primaries kSRGBPrimaries{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}};

inline constexpr Matrix3 kIdentityMatrix{1, 0, 0, 0, 1, 0, 0, 0, 1};

Matrix3 operator*(const Matrix3& p, const Matrix3& q);
Vector3 operator*(const Matrix3& m, const Vector3& v);
double determinant(const Matrix3& m);
// Requires a determinant other than 0.
Matrix3 inverse(const Matrix3& m);
// Linear RGB with a D65 white to CIE XYZ relative to D65.
Matrix3 rgbToXYZ(const Primaries& primaries);
// Chromatic adaptation of XYZ from D65 to D50 by the linear Bradford transform (ICC.1, annex E).
Matrix3 adaptD65ToD50();

}  // namespace vello
