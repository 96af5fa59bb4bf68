// One kernel of every kind, as small as it can be: they prove what renderers must do for each kind.
#pragma once

#include <cmath>

#include "engine/filters/kinds.h"
#include "engine/image/node.h"
#include "platform/bitmap.h"

namespace vello::probes {

struct Exposure {
  explicit Exposure(const Values&) {}
  KERNEL Px operator()(Px p) const { return {p.r * 1.7f, p.g * 1.7f, p.b * 1.7f, p.a}; }
};

// Straight colour, twice in a row it must stay straight.
struct Contrast {
  static constexpr bool kStraight = true;
  explicit Contrast(const Values&) {}
  KERNEL Px operator()(Px p) const {
    return {(p.r - 0.4f) * 1.5f + 0.4f, (p.g - 0.4f) * 1.5f + 0.4f, (p.b - 0.4f) * 1.5f + 0.4f, p.a};
  }
};

// Lines 7 units apart against the luminance.
struct Halftone {
  explicit Halftone(const Values&) {}
  CGPoint anchor() const { return {13.25, 0}; }
  KERNEL Px operator()(Px p, At at) const {
    const float u = at.x / 7.0f;
    const float f = u - __builtin_floorf(u);
    const float v = clamp(0.5f + (luminance(p) - 2 * min(f, 1 - f)) * 2.0f, 0.0f, 1.0f);
    return {v * p.a, v * p.a, v * p.a, p.a};
  }
};

struct MaskBlend {
  explicit MaskBlend(const Values&) {}
  KERNEL Px operator()(Px image, Px background, Px mask) const {
    return mix(background, image, luminance(mask));
  }
};

struct Checkerboard {
  explicit Checkerboard(const Values&) {}
  KERNEL Px operator()(At at) const {
    const float x = __builtin_floorf(at.x / 9), y = __builtin_floorf(at.y / 9);
    const float v = select((static_cast<int>(x) + static_cast<int>(y)) & 1, 0.9f, 0.1f);
    return {v, 0.5f, 1 - v, 1};
  }
};

// A smooth turn around (30, 20), none beyond 25 units.
struct Twirl {
  explicit Twirl(const Values&) {}
  CGPoint anchor() const { return {30, 20}; }
  Move operator()(At at) const {
    const float t = clamp(1 - (at.x * at.x + at.y * at.y) / 625.0f, 0.0f, 1.0f), s = t * t;
    const float c = 1 - 0.8f * s;
    return {at.x * (c - 1) - at.y * s, at.x * s + at.y * (c - 1), 1};
  }
};

struct FourfoldTile {
  explicit FourfoldTile(const Values&) {}
  static CGRect extent(const Values&, View<CGRect>) { return kInfiniteExtent; }
  KERNEL Move operator()(At at) const {
    return {-20 * __builtin_floorf(at.x / 20), -20 * __builtin_floorf(at.y / 20), 1};
  }
};

// The first image says by its red and green how far the second moves.
struct Displacement {
  explicit Displacement(const Values&) {}
  static double bound(const Values&) { return 10; }
  KERNEL Many<Move, 1> where(At, Px d) const { return {{{(d.r - 0.5f) * 20, (d.g - 0.5f) * 20, 1}}}; }
  KERNEL Px operator()(At, Px, const Many<Px, 1>& p) const { return p[0]; }
};

// Two places of two images, as a turned page shows front and back.
struct PageTurn {
  explicit PageTurn(const Values&) {}
  static double bound(const Values&) { return kAnywhere; }
  KERNEL Many<Move, 2> where(At at, Px) const { return {{{30 - 2 * at.x, 0, 1}, {0, 3.5f, 0.8f}}}; }
  KERNEL Px operator()(At at, Px, const Many<Px, 2>& front, const Many<Px, 2>& back) const {
    return mix(front[0], back[1], step(at.x - 15, at.pitch));
  }
};

template <int Tenths>
struct Gaussian {
  static constexpr double kSigma = Tenths / 10.0;
  explicit Gaussian(const Values&) {}
  static CGRect extent(const Values&, View<CGRect> images) {
    return grown(images[0], 3 * kSigma, 3 * kSigma);
  }
  double profile(double t) const { return std::exp(-t * t / (2 * kSigma * kSigma)); }
  double reach() const { return 4 * kSigma; }
  double smooth() const { return kSigma; }
};

struct Motion {
  explicit Motion(const Values&) {}
  static CGRect extent(const Values&, View<CGRect> images) { return grown(images[0], 25, 25); }
  double profile(double t) const { return std::exp(-t * t / 200); }
  double reach() const { return 25; }
  Vec2 direction() const { return {0.8, 0.6}; }
};

template <int Radius>
struct Disc {
  double pitch;
  Disc(const Values&, const Given& given) : pitch(given.pitch) {}
  static CGRect extent(const Values&, View<CGRect> images) { return grown(images[0], Radius, Radius); }
  double reach() const { return Radius; }
  template <class W>
  Px operator()(const W& w) const {
    const int n = static_cast<int>(std::floor(Radius / pitch));
    Px sum{0, 0, 0, 0};
    int count = 0;
    for (int j = -n; j <= n; ++j) {
      const int half = static_cast<int>(std::sqrt(static_cast<double>(n) * n - j * j));
      for (int i = -half; i <= half; ++i) sum = sum + w(i, j);
      count += 2 * half + 1;
    }
    return sum * (1.0f / static_cast<float>(count));
  }
};

// Half the width, 0.7 of the height (Duchon 1979, three lobes).
struct Lanczos {
  explicit Lanczos(const Values&) {}
  static CGRect extent(const Values&, View<CGRect> images) {
    const CGRect& r = images[0];
    return {{r.origin.x * 0.5, r.origin.y * 0.7}, {r.size.width * 0.5, r.size.height * 0.7}};
  }
  double profile(double t) const {
    if (t == 0) return 1;
    const double x = M_PI * t;
    return 3 * std::sin(x) * std::sin(x / 3) / (x * x);
  }
  double reach() const { return 3; }
  Vec2 scale() const { return {0.5, 0.7}; }
};

// Otsu's threshold (1979) of the luminance, in 64 bins.
struct OtsuThreshold {
  struct State {
    int bins[64];
  };
  explicit OtsuThreshold(const Values&) {}
  static State zero() { return {}; }
  static void add(State& s, const Run& run, int n) {
    for (int i = 0; i < n; ++i) ++s.bins[static_cast<int>(clamp(luminance(run.get(i)), 0, 1) * 63)];
  }
  static void merge(State& s, const State& other) {
    for (int i = 0; i < 64; ++i) s.bins[i] += other.bins[i];
  }
  static void finish(const State& s, Values& found) {
    double total = 0, sum = 0, below = 0, belowSum = 0, best = -1, threshold = 0;
    for (int i = 0; i < 64; ++i) {
      total += s.bins[i];
      sum += static_cast<double>(i) * s.bins[i];
    }
    for (int i = 0; i < 64; ++i) {
      below += s.bins[i];
      belowSum += static_cast<double>(i) * s.bins[i];
      if (below == 0 || below == total) continue;
      const double d = belowSum / below - (sum - belowSum) / (total - below),
                   between = below * (total - below) * d * d;
      if (between <= best) continue;
      best = between;
      threshold = (i + 1) / 63.0;
    }
    found.set("threshold", threshold);
  }
};

struct Threshold {
  float threshold;
  Threshold(const Values&, const Given& given)
      : threshold(given.reduced ? static_cast<float>(given.reduced->number("threshold")) : 0) {}
  KERNEL Px operator()(Px p, Px) const {
    const float v = select(luminance(p) >= threshold, p.a, 0.0f);
    return {v, v, v, p.a};
  }
};

// Luminance looks up the bottom row of the second image.
struct ColorMap {
  static constexpr unsigned kTables = 2;
  Table table;
  ColorMap(const Values&, const Given& given) : table(given.tables[1]) {}
  static CGRect extent(const Values&, View<CGRect> images) { return images[0]; }
  KERNEL Px operator()(Px p, Px) const {
    const float place = clamp(luminance(p), 0, 1) * static_cast<float>(table.width - 1);
    return table.items[static_cast<int>(place + 0.5f)] * p.a;
  }
};

// A drawn disc of 12 units across, as text would be drawn: once per scale.
struct DrawnDisc {
  explicit DrawnDisc(const Values&) {}
  static CGRect extent(const Values&, View<CGRect>) { return {{0, 0}, {12, 12}}; }
  Bitmap draw(double scale) const {
    const int side = static_cast<int>(std::ceil(12 * scale));
    std::vector<uint8_t> bytes;
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        const double d = std::hypot(x + 0.5 - side / 2.0, y + 0.5 - side / 2.0);
        for (int c = 0; c < 4; ++c) bytes.push_back(d < side / 2.0 ? 255 : 0);
      }
    PixelLayout layout;
    layout.width = layout.height = side;
    layout.bytesPerRow = side * 4;
    return {layout, ColorSpace::sRGB(), Data(std::move(bytes))};
  }
};

// Foreign code that swaps red and blue of a whole 8-bit frame.
struct SwapFrame {
  explicit SwapFrame(const Values&) {}
  bool run(const EightBitFrame* in, int, EightBitFrame& out) const {
    for (int i = 0; i < out.width * out.height; ++i)
      for (int c = 0; c < 4; ++c) out.rgba[4 * i + c] = in->rgba[4 * i + (c == 3 ? 3 : 2 - c)];
    return true;
  }
};

}  // namespace vello::probes
