// What a kernel is written in: plain records and arithmetic, so that every family file compiles for any
// instruction set and vectorises. No standard-library templates here or in a family file.
#pragma once

namespace vello {

#define KERNEL inline __attribute__((always_inline))

// One colour sample, linear light. Premultiplied, but straight in kernels that say kStraight.
struct Px {
  float r, g, b, a;
};

// A place in image space minus the kernel's anchor, y upwards, and the distance between samples (image
// units).
struct At {
  float x, y, pitch;
};

// Where a sample comes from: source place minus output place (image units), and a factor on the colour. {0,
// 0, 1} is the sample itself, byte for byte; gain 0 is transparent.
struct Move {
  float dx, dy, gain;
};

// A copy of an image, read at `scale` times the distance from the anchor, and its share of a sum.
struct ScaledCopy {
  double scale, weight;
};

struct Vec2 {
  double x, y;
};

template <class T>
struct View {
  const T* items = nullptr;
  int count = 0;
  constexpr const T& operator[](int i) const { return items[i]; }
  constexpr const T* begin() const { return items; }
  constexpr const T* end() const { return items + count; }
};

template <class T, int N>
struct Many {
  T items[N];
  KERNEL T& operator[](int i) { return items[i]; }
  KERNEL const T& operator[](int i) const { return items[i]; }
};

// What a linear kernel multiplies straight colour by: rows r, g, b, a of the result; columns r, g, b, a
// and 1.
struct ColorMatrix {
  double rows[4][5];
};

// A small image read whole: width x height premultiplied linear samples, bottom row first.
struct Table {
  const Px* items = nullptr;
  int width = 0, height = 0;
};

// How a filter's look changes with the sample pitch: `follows` looks like the scaled-down render, `pattern`
// averages its pattern over the pitch, `fine` needs full-size samples for the final look.
enum class PitchClass { follows, pattern, fine };

// As kHalvings of a kernel: how often the pitch is halved before it is applied; the mean of what it makes is
// taken. kTwice where its formula bends or moves light so strongly that applying it to the mean light of a
// sample shows; kToFullSize where it shows nothing of its look on means.
inline constexpr int kOnce = 1, kTwice = 2, kToFullSize = 3;
// As many as its first image.
inline constexpr int kAsItsImage = -1;

KERNEL float select(bool condition, float yes, float no) { return condition ? yes : no; }
KERNEL float min(float a, float b) { return a < b ? a : b; }
KERNEL float max(float a, float b) { return a > b ? a : b; }
KERNEL float clamp(float v, float low, float high) { return min(max(v, low), high); }
KERNEL float mix(float a, float b, float t) { return a + (b - a) * t; }
KERNEL Px mix(Px a, Px b, float t) {
  return {mix(a.r, b.r, t), mix(a.g, b.g, t), mix(a.b, b.b, t), mix(a.a, b.a, t)};
}
KERNEL Px operator+(Px a, Px b) { return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a}; }
KERNEL Px operator-(Px a, Px b) { return {a.r - b.r, a.g - b.g, a.b - b.b, a.a - b.a}; }
KERNEL Px operator*(Px a, float s) { return {a.r * s, a.g * s, a.b * s, a.a * s}; }
// 0 below -1/2 sample, 1 above +1/2 sample: a hard edge at x = 0 widened to one sample.
KERNEL float step(float x, float pitch) { return clamp(x / pitch + 0.5f, 0.0f, 1.0f); }
KERNEL float smoothstep(float t) {
  t = clamp(t, 0.0f, 1.0f);
  return t * t * (3.0f - 2.0f * t);
}
// Luminance of linear light, ITU-R BT.709 primaries.
constexpr double kLuminance[3] = {0.2126, 0.7152, 0.0722};
KERNEL float luminance(Px p) {
  return static_cast<float>(kLuminance[0]) * p.r + static_cast<float>(kLuminance[1]) * p.g +
         static_cast<float>(kLuminance[2]) * p.b;
}

}  // namespace vello
