// Elementary functions made of + - * / and square roots only, so that the pictures come out bit for bit the
// same with every compiler and mathematics library.
#pragma once

#include <cmath>
#include <cstdint>

namespace vello::pictures {

constexpr double kPi = 3.14159265358979323846;

inline double clamp(double v, double low = 0, double high = 1) { return v < low ? low : v > high ? high : v; }
inline double mix(double a, double b, double t) { return a + (b - a) * t; }
// 0 below `low`, 1 above `high`, smooth between. Also takes low > high.
inline double smoothstep(double low, double high, double v) {
  const double t = clamp((v - low) / (high - low));
  return t * t * (3 - 2 * t);
}

// 2 to the power of v: whole part by exponent, rest by Taylor's series.
inline double exp2Of(double v) {
  if (v < -1000) return 0;
  const double whole = std::floor(v);
  const double x = (v - whole) * 0.69314718055994530942;
  constexpr double kSteps[] = {1.0 / 14, 1.0 / 13, 1.0 / 12, 1.0 / 11, 1.0 / 10, 1.0 / 9, 1.0 / 8,
                               1.0 / 7,  1.0 / 6,  1.0 / 5,  1.0 / 4,  1.0 / 3,  1.0 / 2, 1.0};
  double sum = 1;
  for (const double step : kSteps) sum = 1 + sum * x * step;
  return std::ldexp(sum, static_cast<int>(whole));
}
inline double expOf(double v) { return exp2Of(v * 1.44269504088896340736); }

// Requires v > 0. By the series of the inverse hyperbolic tangent.
inline double log2Of(double v) {
  int exponent = 0;
  const double m = std::frexp(v, &exponent);
  const double x = (m - 1) / (m + 1), x2 = x * x;
  double sum = 0;
  for (int i = 41; i >= 1; i -= 2) sum = sum * x2 + 1.0 / i;
  return exponent + 2 * x * sum * 1.44269504088896340736;
}
inline double powOf(double base, double exponent) { return base <= 0 ? 0 : exp2Of(exponent * log2Of(base)); }

inline double sinOf(double radians) {
  const double turns = radians / (2 * kPi);
  double x = (turns - std::floor(turns + 0.5)) * 2 * kPi;
  if (x > kPi / 2) x = kPi - x;
  if (x < -kPi / 2) x = -kPi - x;
  constexpr double kSteps[] = {1.0 / 420, 1.0 / 342, 1.0 / 272, 1.0 / 210, 1.0 / 156,
                               1.0 / 110, 1.0 / 72,  1.0 / 42,  1.0 / 20,  1.0 / 6};
  double sum = 1;
  for (const double step : kSteps) sum = 1 - sum * x * x * step;
  return x * sum;
}
inline double cosOf(double radians) { return sinOf(radians + kPi / 2); }

// Angle of (x, y), -pi..pi. Halves the angle twice, then by the series of the arc tangent.
inline double angleOf(double y, double x) {
  const double length = std::sqrt(x * x + y * y);
  if (length == 0) return 0;
  if (x < 0 && y * y < x * x) return y < 0 ? angleOf(-y, -x) - kPi : angleOf(-y, -x) + kPi;
  double t = y / (length + x);
  t = t / (1 + std::sqrt(1 + t * t));
  double sum = 0;
  for (int i = 31; i >= 1; i -= 2) sum = 1.0 / i - sum * t * t;
  return 4 * t * sum;
}

// Well mixed bits of a place; the constants are those of the MurmurHash3 finaliser.
inline uint32_t hashOf(int64_t x, int64_t y, uint32_t seed = 0) {
  uint32_t h =
      static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
  h = (h ^ h >> 16) * 0x85EBCA6Bu;
  h = (h ^ h >> 13) * 0xC2B2AE35u;
  return h ^ h >> 16;
}
// 0..1, below 1.
inline double randomOf(int64_t x, int64_t y, uint32_t seed = 0) { return hashOf(x, y, seed) / 4294967296.0; }

// A stream of random numbers in 0..1. Streams of one place (a, b) and rising `turn` spread each of their
// first numbers evenly: turn times the root of a prime, less its whole part, from a random start.
class Random {
 public:
  explicit Random(int64_t a, int64_t b = 0, int turn = 0) : a_(a), b_(b), turn_(turn) {}
  double next() {
    static constexpr double kRoots[] = {.41421356, .73205081, .23606798, .64575131, .31662479, .60555128,
                                        .12310563, .35889894, .79583152, .38516481, .56776436, .08276253,
                                        .40312424, .55743852, .85565460, .28010989};
    ++count_;
    const double v = randomOf(a_, b_, count_) + turn_ * kRoots[count_ % 16];
    return v - std::floor(v);
  }
  double between(double low, double high) { return mix(low, high, next()); }

 private:
  int64_t a_, b_;
  int turn_;
  uint32_t count_ = 0;
};

// Gradient noise (K. Perlin, "Improving Noise", 2002), about -1..1, one feature a unit.
double noise(double x, double y, uint32_t seed = 0);
// `octaves` of it, each half as strong and twice as fine; about -1..1.
double fractal(double x, double y, int octaves, uint32_t seed = 0);
// The same of sharp crests; 0..1.
double ridges(double x, double y, int octaves, uint32_t seed = 0);

}  // namespace vello::pictures
