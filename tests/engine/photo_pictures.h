// Pictures as users have them: what a camera sees, and a chart of hard edges.
#pragma once

#include "tests/engine/test_pictures.h"

namespace vello::testing {

// A value between 0 and 1 for every whole place, without order.
inline double grain(int x, int y, int seed) {
  uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15u ^
               static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4Fu ^
               static_cast<uint64_t>(seed) * 0xD6E8FEB86659FD93u;
  h = (h ^ (h >> 32)) * 0xBF58476D1CE4E5B9u;
  return static_cast<double>((h ^ (h >> 29)) >> 40) / (1 << 24);
}

// Smooth noise with forms about `size` across.
inline double clouds(double x, double y, double size, int seed) {
  x /= size;
  y /= size;
  const int i = static_cast<int>(std::floor(x)), j = static_cast<int>(std::floor(y));
  const auto ease = [](double t) { return t * t * (3 - 2 * t); };
  const double s = ease(x - i), t = ease(y - j);
  return (grain(i, j, seed) * (1 - s) + grain(i + 1, j, seed) * s) * (1 - t) +
         (grain(i, j + 1, seed) * (1 - s) + grain(i + 1, j + 1, seed) * s) * t;
}

// Forms of all sizes, finer ones fainter, as in photographs.
inline double texture(double x, double y, int seed) {
  double sum = 0;
  for (double size = 96, weight = 1; size >= 3; size /= 2, weight *= 0.6)
    sum += weight * (clouds(x, y, size, seed++) - 0.5);
  return std::clamp(0.5 + 0.9 * sum, 0.0, 1.0);
}

// From 0 to 1 within about a pixel around `edge`, as lenses draw edges.
inline double soft(double x, double edge) {
  const double t = std::clamp((x - edge) / 1.6 + 0.5, 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

struct Rgb {
  double r, g, b;  // encoded, 0..1
};

template <class Paint>
CIImage painted(int width, int height, Paint paint) {
  std::vector<uint8_t> bytes;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const Rgb c = paint(x + 0.5, y + 0.5);
      for (const double v : {c.r, c.g, c.b, 1.0})
        bytes.push_back(static_cast<uint8_t>(std::lround(255 * std::clamp(v, 0.0, 1.0))));
    }
  return CIImage::imageWithBitmap(Bitmap(rgba8(width, height), ColorSpace::sRGB(), Data(std::move(bytes))));
}

inline Rgb mixed(Rgb a, Rgb b, double t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

// Sky, sun, hills and a house.
inline CIImage landscape(int width, int height) {
  return painted(width, height, [=](double x, double y) {
    const double high = y / height, form = texture(x, y, 3);
    const Rgb sky = mixed({0.35, 0.55, 0.85}, {0.9, 0.85, 0.8}, std::min(1.0, high * 1.5 + 0.2 * form));
    const Rgb hill = mixed({0.1, 0.2, 0.08}, {0.45, 0.5, 0.25}, form);
    const double horizon = height * (0.55 + 0.2 * (clouds(x, 0, 70, 9) - 0.5));
    Rgb seen =
        mixed(sky, {1, 0.97, 0.85}, 1 - soft(std::hypot(x - 0.7 * width, y - 0.2 * height), 0.09 * width));
    seen = mixed(seen, hill, soft(y, horizon));
    const double house = soft(x, 0.2 * width) * (1 - soft(x, 0.42 * width)) * soft(y, 0.45 * height) *
                         (1 - soft(y, 0.7 * height));
    return mixed(seen, {0.75 - 0.1 * form, 0.4, 0.3}, house);
  });
}

// Round things before a cloth, lit from one side.
inline CIImage stillLife(int width, int height) {
  return painted(width, height, [=](double x, double y) {
    const double form = texture(x + 500, y, 31), shade = 0.55 + 0.45 * x / width;
    Rgb seen{(0.25 + 0.5 * form) * shade, (0.2 + 0.35 * form) * shade, (0.3 + 0.3 * form) * shade};
    for (int k = 0; k < 5; ++k) {
      const double cx = width * (0.15 + 0.18 * k), cy = height * (0.35 + 0.3 * grain(k, 0, 5)),
                   r = width * 0.11;
      const double d = std::hypot(x - cx, y - cy),
                   light = 1 - 0.7 * std::hypot(x - cx - r / 3, y - cy + r / 3) / r;
      const double lit = std::max(0.12, light) + 0.08 * form;
      seen = mixed(seen, {lit * (0.5 + 0.5 * grain(k, 1, 5)), lit * (0.5 + 0.4 * grain(k, 2, 5)), 0.6 * lit},
                   1 - soft(d, r));
    }
    return seen;
  });
}

// Bars, squares, a star and patches; no edge is softened, none lies on a coarse grid on purpose.
inline CIImage chart(int width, int height) {
  return painted(width, height, [=](double x, double y) {
    const int column = static_cast<int>(4 * x / width), row = static_cast<int>(4 * y / height);
    const int i = static_cast<int>(x) + 3, j = static_cast<int>(y) + 5, size = 29 + 8 * column;
    if (row == 0) return i / size % 2 ? Rgb{1, 1, 1} : Rgb{0, 0, 0};
    if (row == 1) return (i / size + j / size) % 2 ? Rgb{0.9, 0.9, 0.9} : Rgb{0.1, 0.1, 0.1};
    if (row == 2) return Rgb{column & 1 ? 1.0 : 0.0, column & 2 ? 1.0 : 0.0, column == 0 ? 1.0 : 0.3};
    const double angle = std::atan2(y - height, x - width / 2.0);
    return std::sin(8 * angle) > 0 ? Rgb{1, 1, 1} : Rgb{0.05, 0.05, 0.2};
  });
}

}  // namespace vello::testing
