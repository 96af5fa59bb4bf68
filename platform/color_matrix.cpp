#include "platform/color_matrix.h"

namespace vello {

Matrix3 operator*(const Matrix3& p, const Matrix3& q) {
  Matrix3 product{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column) {
      for (std::size_t k = 0; k < 3; ++k) product[3 * row + column] += p[3 * row + k] * q[3 * k + column];
    }
  }
  return product;
}

Vector3 operator*(const Matrix3& m, const Vector3& v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

double determinant(const Matrix3& m) {
  return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
         m[2] * (m[3] * m[7] - m[4] * m[6]);
}

Matrix3 inverse(const Matrix3& m) {
  const double scale = 1 / determinant(m);
  Matrix3 result{m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                 m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                 m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  for (double& value : result) value *= scale;
  return result;
}

namespace {

Vector3 toXYZ(Chromaticity c) { return {c.x / c.y, 1, (1 - c.x - c.y) / c.y}; }

Matrix3 withColumns(const Vector3& r, const Vector3& g, const Vector3& b) {
  return {r[0], g[0], b[0], r[1], g[1], b[1], r[2], g[2], b[2]};
}

Matrix3 diagonal(const Vector3& v) { return {v[0], 0, 0, 0, v[1], 0, 0, 0, v[2]}; }

}  // namespace

Matrix3 rgbToXYZ(const Primaries& primaries) {
  const Matrix3 columns = withColumns(toXYZ(primaries.red), toXYZ(primaries.green), toXYZ(primaries.blue));
  return columns * diagonal(inverse(columns) * toXYZ(kD65));
}

Matrix3 adaptD65ToD50() {
  constexpr Matrix3 kBradford{0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296};
  const Vector3 from = kBradford * toXYZ(kD65), to = kBradford * kD50XYZ;
  return inverse(kBradford) * diagonal({to[0] / from[0], to[1] / from[1], to[2] / from[2]}) * kBradford;
}

}  // namespace vello
