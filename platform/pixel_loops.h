// The inner loops of pixel conversion, compiled for every instruction set. All give the same bits.
#pragma once

#include <cstdint>

#include "platform/instruction_set.h"

namespace vello {

// What ByteEncoder looks codes up in: for the ranges that share a float's upper 16 bits, the code at the
// range's begin and the lower bits from which on it is one more.
struct ByteCodes {
  const int32_t* entries;  // code << 17 | lower bits; 1 << 16 where the range has one code
  int32_t low, high;       // values' bits are kept within
};

// Light between equally spaced encoded values from 0 to 1; pairs of a value and the rise to the next.
struct LightTable {
  static constexpr int kIntervals = 4096;
  const float* pairs;
};

// Over at most 256 pixels.
struct PixelLoops {
  // Light to the nearest of 256 codes; NaN is 0.
  void (*encodeBytes)(const float* light, const ByteCodes& codes, int n, int32_t* result);
  // 0..1 to the nearest of 0..255; NaN is 0.
  void (*roundBytes)(const float* values, int n, int32_t* result);
  // Four codes a pixel into four bytes, code k at byte places[k].
  void (*pack)(const int32_t* const* codes, const int* places, int n, uint8_t* pixels);
  // From pixels of `step` bytes, 3 or 4: tables[k][byte] of the byte at places[k], for three of them.
  void (*lookUp)(const uint8_t* pixels, int step, const int* places, const float* const* tables, int n,
                 float* const* results);
  void (*fill)(float value, int n, float* result);
  // byte / 255
  void (*fractions)(const uint8_t* pixels, int place, int n, float* result);
  // The light of values in 0..1; false when some lie outside, whose results mean nothing.
  bool (*decode)(const LightTable& table, const float* values, float* light, int n);
  void (*divideByAlpha)(const float* c, const float* a, float* result, int n);  // by 1 where alpha is 0
  void (*multiply)(float* c, const float* by, int n);
};

const PixelLoops& pixelLoops(InstructionSet set);

}  // namespace vello
