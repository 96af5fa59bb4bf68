#include "engine/filters/output_range.h"

#include "engine/filters/kinds.h"
#include "engine/image/node.h"
#include "platform/color_matrix.h"

namespace vello {
namespace {

constexpr const char* kRows[] = {"toRed", "toGreen", "toBlue", "fromRed", "fromGreen", "fromBlue"};

// Clips every channel in the primaries of the output.
struct Range {
  static constexpr int kHalvings = kAsItsImage;
  explicit Range(const Values& v) {
    for (int row = 0; row < 3; ++row)
      for (int k = 0; k < 3; ++k) {
        to[row][k] = static_cast<float>(v.component(kRows[row], k));
        from[row][k] = static_cast<float>(v.component(kRows[row + 3], k));
      }
  }
  static KERNEL float dot(const float (&m)[3], Px p) { return m[0] * p.r + m[1] * p.g + m[2] * p.b; }
  KERNEL Px operator()(Px p) const {
    const Px held{clamp(dot(to[0], p), 0.0f, 1.0f), clamp(dot(to[1], p), 0.0f, 1.0f),
                  clamp(dot(to[2], p), 0.0f, 1.0f), clamp(p.a, 0.0f, 1.0f)};
    return {dot(from[0], held), dot(from[1], held), dot(from[2], held), held.a};
  }
  float to[3][3], from[3][3];
};

CIVector rowOf(const Matrix3& m, size_t row) { return {m[3 * row], m[3 * row + 1], m[3 * row + 2]}; }

}  // namespace

CIImage withinRange(const CIImage& image, const ColorSpace& space, const ColorSpacePtr& working) {
  const Matrix3 to = working ? space.fromSRGB() * working->toSRGB() : space.fromSRGB();
  const Matrix3 from = working ? working->fromSRGB() * space.toSRGB() : space.toSRGB();
  Values values;
  for (size_t row = 0; row < 3; ++row) {
    values.set(kRows[row], rowOf(to, row));
    values.set(kRows[row + 3], rowOf(from, row));
  }
  return applyKernel(point<Range>(), values, {image});
}

}  // namespace vello
