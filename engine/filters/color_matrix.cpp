#include "engine/filters/color_matrix.h"

#include <math.h>

#include "engine/filters/kinds.h"
#include "engine/image/node.h"

namespace vello {
namespace {

constexpr const char* kRows[] = {"inputRVector", "inputGVector", "inputBVector", "inputAVector"};
constexpr double kGreatestEntry = 1e30;  // what Values keep components within
constexpr ColorMatrix kIdentity{{{1, 0, 0, 0, 0}, {0, 1, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}}};

ColorMatrix matrixOf(const Values& v) {
  ColorMatrix m;
  for (int row = 0; row < 4; ++row)
    for (int k = 0; k < 5; ++k)
      m.rows[row][k] = k < 4 ? v.component(kRows[row], k) : v.component("inputBiasVector", row);
  return m;
}

bool equal(const double (&a)[5], const double (&b)[5]) {
  for (int k = 0; k < 5; ++k)
    if (a[k] != b[k]) return false;
  return true;
}

bool isIdentity(const ColorMatrix& m) {
  for (int row = 0; row < 4; ++row)
    if (!equal(m.rows[row], kIdentity.rows[row])) return false;
  return true;
}

struct Matrix {
  static constexpr bool kStraight = true;
  explicit Matrix(const Values& v) {
    const ColorMatrix from = matrix(v);
    for (int row = 0; row < 4; ++row)
      for (int k = 0; k < 5; ++k) m[row][k] = static_cast<float>(from.rows[row][k]);
  }
  static ColorMatrix matrix(const Values& v) { return matrixOf(v); }
  static bool identity(const Values& v) { return isIdentity(matrix(v)); }
  KERNEL float dot(const float (&row)[5], Px p) const {
    return row[0] * p.r + row[1] * p.g + row[2] * p.b + row[3] * p.a + row[4];
  }
  KERNEL Px operator()(Px p) const { return {dot(m[0], p), dot(m[1], p), dot(m[2], p), dot(m[3], p)}; }
  float m[4][5];
};

// A matrix that neither changes nor reads alpha is linear in premultiplied colour too.
struct LightMatrix {
  explicit LightMatrix(const Values& v) {
    const ColorMatrix from = matrix(v);
    for (int row = 0; row < 3; ++row)
      for (int k = 0; k < 4; ++k) m[row][k] = static_cast<float>(from.rows[row][k < 3 ? k : 4]);
  }
  static ColorMatrix matrix(const Values& v) { return matrixOf(v); }
  KERNEL float dot(const float (&row)[4], Px p) const {
    return row[0] * p.r + row[1] * p.g + row[2] * p.b + row[3] * p.a;
  }
  KERNEL Px operator()(Px p) const { return {dot(m[0], p), dot(m[1], p), dot(m[2], p), p.a}; }
  float m[3][4];
};

bool keepsAlpha(const ColorMatrix& m) { return equal(m.rows[3], kIdentity.rows[3]); }
bool readsAlpha(const ColorMatrix& m) { return m.rows[0][3] != 0 || m.rows[1][3] != 0 || m.rows[2][3] != 0; }

// `after` of what `before` makes.
ColorMatrix product(const ColorMatrix& after, const ColorMatrix& before) {
  ColorMatrix m;
  for (int row = 0; row < 4; ++row)
    for (int k = 0; k < 5; ++k) {
      double sum = k == 4 ? after.rows[row][4] : 0;
      for (int c = 0; c < 4; ++c) sum += after.rows[row][c] * before.rows[c][k];
      m.rows[row][k] = sum;
    }
  return m;
}

bool isWithinRange(const ColorMatrix& m) {
  for (const auto& row : m.rows)
    for (const double entry : row)
      if (!(fabs(entry) <= kGreatestEntry)) return false;
  return true;
}

Values valuesOf(const ColorMatrix& m) {
  Values v;
  for (int row = 0; row < 4; ++row)
    v.set(kRows[row], CIVector({m.rows[row][0], m.rows[row][1], m.rows[row][2], m.rows[row][3]}));
  v.set("inputBiasVector", CIVector({m.rows[0][4], m.rows[1][4], m.rows[2][4], m.rows[3][4]}));
  return v;
}

}  // namespace

constinit const KernelOps kColorMatrixKernel = kinds::kPoint<Matrix, 1>;

CIImage joinedMatrices(const KernelOps* ops, const Values& values, const CIImage& image) {
  const Node& inner = *image.node();
  if (!ops->matrix || inner.type != Node::Type::kernel || !inner.ops->matrix) return {};
  const ColorMatrix before = inner.ops->matrix(inner.values);
  if (!keepsAlpha(before)) return {};
  const ColorMatrix joined = product(ops->matrix(values), before);
  if (!isWithinRange(joined)) return {};
  const CIImage input(inner.inputs[0]);
  if (isIdentity(joined)) return input;
  const bool inLight = keepsAlpha(joined) && !readsAlpha(joined);
  return applyKernel(inLight ? point<LightMatrix>() : &kColorMatrixKernel, valuesOf(joined), {input});
}

}  // namespace vello
