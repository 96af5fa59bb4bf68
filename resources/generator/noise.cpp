#include "resources/generator/numbers.h"

namespace vello::pictures {
namespace {

double corner(int64_t ix, int64_t iy, double dx, double dy, uint32_t seed) {
  constexpr double kDiagonal = 0.70710678118654752440;
  static constexpr double kGradients[8][2] = {{1, 0},
                                              {-1, 0},
                                              {0, 1},
                                              {0, -1},
                                              {kDiagonal, kDiagonal},
                                              {-kDiagonal, kDiagonal},
                                              {kDiagonal, -kDiagonal},
                                              {-kDiagonal, -kDiagonal}};
  const double* gradient = kGradients[hashOf(ix, iy, seed) & 7];
  return gradient[0] * dx + gradient[1] * dy;
}

double fade(double t) { return t * t * t * (t * (t * 6 - 15) + 10); }

// Turned between octaves, so that their grids do not line up.
void turn(double& x, double& y) {
  const double next = 1.6 * x - 1.2 * y;
  y = 1.2 * x + 1.6 * y;
  x = next;
}

}  // namespace

double noise(double x, double y, uint32_t seed) {
  const double fx = std::floor(x), fy = std::floor(y);
  const auto ix = static_cast<int64_t>(fx), iy = static_cast<int64_t>(fy);
  const double dx = x - fx, dy = y - fy, u = fade(dx);
  const double low = mix(corner(ix, iy, dx, dy, seed), corner(ix + 1, iy, dx - 1, dy, seed), u);
  const double high =
      mix(corner(ix, iy + 1, dx, dy - 1, seed), corner(ix + 1, iy + 1, dx - 1, dy - 1, seed), u);
  return mix(low, high, fade(dy)) * 1.5;
}

double fractal(double x, double y, int octaves, uint32_t seed) {
  double sum = 0, strength = 0.5;
  for (int i = 0; i < octaves; ++i, strength *= 0.5, turn(x, y))
    sum += strength * noise(x, y, seed + static_cast<uint32_t>(i));
  return sum;
}

double ridges(double x, double y, int octaves, uint32_t seed) {
  double sum = 0, strength = 0.5, above = 1;
  for (int i = 0; i < octaves; ++i, strength *= 0.5, turn(x, y)) {
    const double crest = 1 - std::fabs(noise(x, y, seed + static_cast<uint32_t>(i)));
    sum += strength * crest * crest * above;
    above = clamp(crest * 1.3);  // fine crests stand on coarse ones
  }
  return sum;
}

}  // namespace vello::pictures
