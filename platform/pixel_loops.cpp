#include "platform/pixel_loops.h"

#include <bit>

#define LOOP inline __attribute__((always_inline))
namespace vello {
namespace {

// Four and eight bytes anywhere in memory.
typedef uint32_t Word __attribute__((aligned(1), may_alias));
typedef uint64_t WordPair __attribute__((aligned(1), may_alias));

// Vector gathers are slow where the processor guards against leaking what they read ("Gather Data Sampling",
// Intel advisory 00828), so tables are read one by one. The empty instruction keeps compilers from gathering.
LOOP void fetchAll(const int32_t* table, int n, int32_t* indices) {
  VELLO_UNROLLED_LOOP
  for (int i = 0; i < n; ++i) {
    int32_t value = table[indices[i]];
    asm("" : "+r"(value));
    indices[i] = value;
  }
}

constexpr int kBlock = 256;

LOOP void encodeBytesLoop(const float* light, const ByteCodes& codes, int n, int32_t* result) {
  const ByteCodes c = codes;
  const int32_t first = c.low >> 16;
  int32_t kept[kBlock];
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    const float x = light[i] == light[i] ? light[i] : 0.0f;
    const int32_t bits = std::bit_cast<int32_t>(x);
    const int32_t raised = bits > c.low ? bits : c.low;
    kept[i] = raised < c.high ? raised : c.high;
    result[i] = (kept[i] >> 16) - first;
  }
  fetchAll(c.entries, n, result);
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i)
    result[i] = (result[i] >> 17) + ((kept[i] & 0xffff) >= (result[i] & 0x1ffff) ? 1 : 0);
}

LOOP void roundBytesLoop(const float* values, int n, int32_t* result) {
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    // In double, where adding a half is exact.
    const double scaled = static_cast<double>(values[i]) * 255.0;
    const double raised = scaled > 0 ? scaled : 0.0, kept = raised < 255.0 ? raised : 255.0;
    result[i] = static_cast<int32_t>(kept + 0.5);  // NOLINT(bugprone-incorrect-roundings)
  }
}

LOOP void packLoop(const int32_t* const* codes, const int* places, int n, uint8_t* pixels) {
  const int32_t *const a = codes[0], *const b = codes[1], *const c = codes[2], *const d = codes[3];
  const int sa = 8 * places[0], sb = 8 * places[1], sc = 8 * places[2], sd = 8 * places[3];
  Word* const words = reinterpret_cast<Word*>(pixels);
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i)
    words[i] = static_cast<uint32_t>(a[i]) << sa | static_cast<uint32_t>(b[i]) << sb |
               static_cast<uint32_t>(c[i]) << sc | static_cast<uint32_t>(d[i]) << sd;
}

// Two pixels a read.
template <int kStep>
LOOP void lookUpSteps(const uint8_t* pixels, const int* places, const float* const* tables, int n,
                      float* const* results) {
  const int sa = 8 * places[0], sb = 8 * places[1], sc = 8 * places[2], next = 8 * kStep;
  const float *const ta = tables[0], *const tb = tables[1], *const tc = tables[2];
  float *const a = results[0], *const b = results[1], *const c = results[2];
  constexpr int64_t kTwo = int64_t{2} * kStep,
                    kBeyond = 8 - kTwo;  // bytes of two pixels; those a read takes too many
  const int64_t paired = (int64_t{n} * kStep - kBeyond) / kTwo * 2;
  int64_t i = 0;
  for (; i < paired; i += 2, pixels += kTwo) {
    uint64_t pair = *reinterpret_cast<const WordPair*>(pixels);
    asm("" : "+r"(pair));
    const float a0 = ta[pair >> sa & 255], a1 = ta[pair >> next >> sa & 255];
    const float b0 = tb[pair >> sb & 255], b1 = tb[pair >> next >> sb & 255];
    const float c0 = tc[pair >> sc & 255], c1 = tc[pair >> next >> sc & 255];
    a[i] = a0, a[i + 1] = a1;
    b[i] = b0, b[i + 1] = b1;
    c[i] = c0, c[i + 1] = c1;
  }
  for (; i < n; ++i, pixels += kStep)
    a[i] = ta[pixels[places[0]]], b[i] = tb[pixels[places[1]]], c[i] = tc[pixels[places[2]]];
}

LOOP void lookUpLoop(const uint8_t* pixels, int step, const int* places, const float* const* tables, int n,
                     float* const* results) {
  if (step == 3) return lookUpSteps<3>(pixels, places, tables, n, results);
  lookUpSteps<4>(pixels, places, tables, n, results);
}

LOOP void fillLoop(float value, int n, float* result) {
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) result[i] = value;
}

LOOP void fractionsLoop(const uint8_t* pixels, int place, int n, float* result) {
  const Word* const words = reinterpret_cast<const Word*>(pixels);
  const int shift = 8 * place;
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i)
    result[i] = static_cast<float>(static_cast<int32_t>(words[i] >> shift & 255)) / 255.0f;
}

LOOP bool decodeLoop(const LightTable& table, const float* values, float* light, int n) {
  const float* const pairs = table.pairs;
  float beyond[kBlock], rise[kBlock];
  int32_t indices[kBlock];
  int outside = 0;
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    const float v = values[i];
    outside |= !(v >= 0.0f) | !(v <= 1.0f);
    const float raised = v > 0.0f ? v : 0.0f, kept = raised < 1.0f ? raised : 1.0f;
    const float place = kept * LightTable::kIntervals;
    indices[i] = static_cast<int>(place);
    beyond[i] = place - static_cast<float>(indices[i]);
  }
  for (int i = 0; i < n; ++i) {
    const float* pair = pairs + int64_t{2} * indices[i];
    asm("" : "+r"(pair));
    light[i] = pair[0];
    rise[i] = pair[1];
  }
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) light[i] += rise[i] * beyond[i];
  return outside == 0;
}

LOOP void divideLoop(const float* c, const float* a, float* result, int n) {
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) result[i] = c[i] / (a[i] == 0.0f ? 1.0f : a[i]);
}

LOOP void multiplyLoop(float* c, const float* by, int n) {
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) c[i] *= by[i];
}

// NOLINTBEGIN(bugprone-macro-parentheses): names, not values
#define PIXEL_LOOPS(target)                                                                                 \
  target static void encodeBytes(const float* light, const ByteCodes& codes, int n, int32_t* result) {      \
    encodeBytesLoop(light, codes, n, result);                                                               \
  }                                                                                                         \
  target static void roundBytes(const float* values, int n, int32_t* result) {                              \
    roundBytesLoop(values, n, result);                                                                      \
  }                                                                                                         \
  target static void pack(const int32_t* const* codes, const int* places, int n, uint8_t* pixels) {         \
    packLoop(codes, places, n, pixels);                                                                     \
  }                                                                                                         \
  target static void lookUp(const uint8_t* pixels, int step, const int* places, const float* const* tables, \
                            int n, float* const* results) {                                                 \
    lookUpLoop(pixels, step, places, tables, n, results);                                                   \
  }                                                                                                         \
  target static void fill(float value, int n, float* result) { fillLoop(value, n, result); }                \
  target static void fractions(const uint8_t* pixels, int place, int n, float* result) {                    \
    fractionsLoop(pixels, place, n, result);                                                                \
  }                                                                                                         \
  target static bool decode(const LightTable& table, const float* values, float* light, int n) {            \
    return decodeLoop(table, values, light, n);                                                             \
  }                                                                                                         \
  target static void divideByAlpha(const float* c, const float* a, float* result, int n) {                  \
    divideLoop(c, a, result, n);                                                                            \
  }                                                                                                         \
  target static void multiply(float* c, const float* by, int n) { multiplyLoop(c, by, n); }                 \
  constexpr PixelLoops kLoops{encodeBytes, roundBytes, pack,          lookUp,  fill,                        \
                              fractions,   decode,     divideByAlpha, multiply};
// NOLINTEND(bugprone-macro-parentheses)

namespace baseline {
PIXEL_LOOPS()
}
namespace v3 {
PIXEL_LOOPS(VELLO_V3)
}
namespace v4 {
PIXEL_LOOPS(VELLO_V4)
}

}  // namespace

const PixelLoops& pixelLoops(InstructionSet set) {
  return compiledFor(set, baseline::kLoops, v3::kLoops, v4::kLoops);
}

}  // namespace vello
