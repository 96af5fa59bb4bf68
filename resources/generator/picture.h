// Pictures while they are made: linear light, straight alpha, row 0 at the top.
#pragma once

#include <functional>
#include <vector>

#include "platform/bitmap.h"
#include "resources/generator/numbers.h"

namespace vello::pictures {

// Linear light, 1 is white; values above are clipped when the picture is encoded.
struct Rgb {
  double r = 0, g = 0, b = 0;
};
inline Rgb operator+(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
inline Rgb operator*(Rgb a, Rgb b) { return {a.r * b.r, a.g * b.g, a.b * b.b}; }
inline Rgb operator*(Rgb a, double s) { return {a.r * s, a.g * s, a.b * s}; }
inline Rgb mix(Rgb a, Rgb b, double t) { return {mix(a.r, b.r, t), mix(a.g, b.g, t), mix(a.b, b.b, t)}; }

// Components as a colour picker shows them, 0..255, with the sRGB curve.
Rgb encoded(double r, double g, double b);

struct Pixel {
  Rgb color;
  double alpha = 1;
};

struct Picture {
  Picture(int w, int h) : width(w), height(h), pixels(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  Pixel& at(int x, int y) {
    return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  const Pixel& at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }

  int width, height;
  std::vector<Pixel> pixels;
};

// Calls `row` once for each row, from several threads.
void forRows(int height, const std::function<void(int)>& row);
// Each pixel's value from its column and row.
Picture paint(int width, int height, const std::function<Pixel(int x, int y)>& pixel);
// The same, from n x n places a pixel (columns and rows in pixels, with fractions), averaged with their
// alpha.
Picture paintSmooth(int width, int height, int n, const std::function<Pixel(double x, double y)>& place);
// n x n pixels become one.
Picture reduced(const Picture& picture, int n);

// Rolls highlights off towards white, as film does; 0..1 of any non-negative light.
Rgb filmic(Rgb light);
// Grain as a sensor has it: `amount` is its strength in encoded steps of 255.
void addGrain(Picture& picture, double amount, uint32_t seed);

enum class Layout { rgb8, rgba8, rgb16 };
// Encodes with the sRGB curve (that of Display P3 too) and rounds to nearest. `space` names what the
// picture's primaries are.
Bitmap bitmapOf(const Picture& picture, Layout layout, const char* space);

}  // namespace vello::pictures
