// Elementary functions for kernels: polynomials on plain floats, without branches, so that the loops around
// them vectorise and every instruction set gives the same bits. Relative errors are below 3e-7 unless said.
#pragma once

#include "engine/filters/kernel.h"

namespace vello::vec {

KERNEL float fromBits(int bits) { return __builtin_bit_cast(float, bits); }
KERNEL int toBits(float v) { return __builtin_bit_cast(int, v); }

// Exact for |x| <= 2^22 and for what is whole anyway; off by at most 1 between. Adding and taking away 3 *
// 2^22 rounds to a whole number, and neither that nor the comparison gives compilers a branch to make.
KERNEL float floor(float x) {
  const float whole = (x + 12582912.0f) - 12582912.0f;
  return whole - static_cast<float>(whole > x);
}

// 2^x; x is clamped to what a normal float can hold.
KERNEL float exp2(float x) {
  x = clamp(x, -126.0f, 127.0f);
  const float whole = floor(x + 0.5f), f = x - whole;
  // The Taylor series at 0 for |f| <= 1/2.
  float p = 1.5252734e-5f;
  p = p * f + 1.5403530e-4f;
  p = p * f + 1.3333558e-3f;
  p = p * f + 9.6181291e-3f;
  p = p * f + 5.5504109e-2f;
  p = p * f + 2.4022651e-1f;
  p = p * f + 6.9314718e-1f;
  p = p * f + 1.0f;
  return p * fromBits((static_cast<int>(whole) + 127) << 23);
}

// Base-2 logarithm; x at most the smallest normal float counts as that float. Absolute error below 2e-7
// near 1.
KERNEL float log2(float x) {
  x = max(x, 1.17549435e-38f);
  // The mantissa is brought to [sqrt(1/2), sqrt(2)).
  const int bits = toBits(x), shifted = bits - 0x3F3504F3;
  const int exponent = shifted >> 23;
  const float m = fromBits(bits - (exponent << 23));
  const float s = (m - 1.0f) / (m + 1.0f), q = s * s;
  // 2 atanh(s) / ln 2.
  float p = 0.32059890f;
  p = p * q + 0.41219859f;
  p = p * q + 0.57707802f;
  p = p * q + 0.96179669f;
  p = p * q + 2.88539008f;
  return static_cast<float>(exponent) + p * s;
}

// x^power for x >= 0; 0 for x <= 0.
KERNEL float pow(float x, float power) { return select(x > 0.0f, exp2(power * log2(x)), 0.0f); }

KERNEL float sqrt(float x) { return __builtin_sqrtf(x); }

struct SinCos {
  float sin, cos;
};

// For |x| up to some 10,000 radians; absolute error below 1e-6 there. Exact at 0.
KERNEL SinCos sinCos(float x) {
  const float turns = floor(x * 0.63661977f + 0.5f);  // quarter turns
  const int quadrant = static_cast<int>(turns);
  // pi/2 in three parts (Cody and Waite).
  const float r = ((x - turns * 1.5703125f) - turns * 4.83751297e-4f) - turns * 7.54978942e-8f, q = r * r;
  const float s =
      r + r * q * (-1.6666667e-1f + q * (8.3333310e-3f + q * (-1.9840874e-4f + q * 2.7525562e-6f)));
  const float c =
      1.0f +
      q * (-0.5f + q * (4.1666666e-2f + q * (-1.3888889e-3f + q * (2.4801587e-5f - q * 2.7557319e-7f))));
  const bool swapped = quadrant & 1;
  const float sine = select(swapped, c, s), cosine = select(swapped, s, c);
  return {select(quadrant & 2, -sine, sine), select((quadrant + 1) & 2, -cosine, cosine)};
}

}  // namespace vello::vec
