#include "resources/generator/picture.h"

#include <atomic>
#include <thread>

namespace vello::pictures {
namespace {

// The sRGB curve of IEC 61966-2-1.
double encode(double light) {
  light = clamp(light);
  return light <= 0.0031308 ? light * 12.92 : 1.055 * powOf(light, 1 / 2.4) - 0.055;
}
double decode(double value) { return value <= 0.04045 ? value / 12.92 : powOf((value + 0.055) / 1.055, 2.4); }

void store(std::vector<uint8_t>& bytes, double value, bool wide) {
  const auto step = static_cast<unsigned>(std::floor(clamp(value) * (wide ? 65535 : 255) + 0.5));
  bytes.push_back(static_cast<uint8_t>(step));
  if (wide) bytes.push_back(static_cast<uint8_t>(step >> 8));
}

}  // namespace

Rgb encoded(double r, double g, double b) { return {decode(r / 255), decode(g / 255), decode(b / 255)}; }

void forRows(int height, const std::function<void(int)>& row) {
  std::atomic<int> next{0};
  const auto work = [&] {
    for (int y = next++; y < height; y = next++) row(y);
  };
  std::vector<std::thread> threads;
  for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) threads.emplace_back(work);
  work();
  for (std::thread& thread : threads) thread.join();
}

Picture paint(int width, int height, const std::function<Pixel(int, int)>& pixel) {
  Picture picture(width, height);
  forRows(height, [&](int y) {
    for (int x = 0; x < width; ++x) picture.at(x, y) = pixel(x, y);
  });
  return picture;
}

Picture paintSmooth(int width, int height, int n, const std::function<Pixel(double, double)>& place) {
  return paint(width, height, [&](int x, int y) {
    Pixel sum{{}, 0};
    for (int i = 0; i < n * n; ++i) {
      const int column = i % n, row = i / n;
      const Pixel one = place(x + (column + 0.5) / n, y + (row + 0.5) / n);
      sum = {sum.color + one.color * one.alpha, sum.alpha + one.alpha};
    }
    return sum.alpha > 0 ? Pixel{sum.color * (1 / sum.alpha), sum.alpha / (n * n)} : sum;
  });
}

Picture reduced(const Picture& picture, int n) {
  return paint(picture.width / n, picture.height / n, [&](int x, int y) {
    Rgb sum;
    for (int i = 0; i < n * n; ++i) sum = sum + picture.at(x * n + i % n, y * n + i / n).color;
    return Pixel{sum * (1.0 / (n * n))};
  });
}

Rgb filmic(Rgb light) {
  // Straight up to 0.6, then towards 1 with the same slope at the joint.
  const auto roll = [](double v) { return v < 0.6 ? v : 1 - 0.4 * expOf((0.6 - v) / 0.4); };
  return {roll(light.r), roll(light.g), roll(light.b)};
}

void addGrain(Picture& picture, double amount, uint32_t seed) {
  forRows(picture.height, [&](int y) {
    for (int x = 0; x < picture.width; ++x) {
      Rgb& c = picture.at(x, y).color;
      const auto grain = [&](uint32_t channel) {  // nearly a bell curve, deviation 1
        double sum = -2;
        for (uint32_t i = 0; i < 4; ++i) sum += randomOf(x, y, seed + channel * 4 + i);
        return sum * 1.732;
      };
      const double common = grain(0), strength = amount / 255;
      const auto noisy = [&](double v, uint32_t channel) {
        return decode(clamp(encode(v) + strength * (0.8 * common + 0.6 * grain(channel))));
      };
      c = {noisy(c.r, 1), noisy(c.g, 2), noisy(c.b, 3)};
    }
  });
}

Bitmap bitmapOf(const Picture& picture, Layout kind, const char* space) {
  const bool wide = kind == Layout::rgb16, alpha = kind == Layout::rgba8;
  std::vector<uint8_t> bytes;
  for (const Pixel& pixel : picture.pixels) {
    const Rgb& c = pixel.color;
    for (const double light : {c.r, c.g, c.b}) store(bytes, encode(light), wide);
    if (alpha) store(bytes, pixel.alpha, false);
  }
  PixelLayout layout;
  layout.width = picture.width;
  layout.height = picture.height;
  layout.bitsPerComponent = wide ? 16 : 8;
  layout.componentsPerPixel = alpha ? 4 : 3;
  layout.alpha = alpha ? AlphaInfo::last : AlphaInfo::none;
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  layout.littleEndian = wide;
  return Bitmap(layout, ColorSpace::named(space), Data(std::move(bytes)));
}

}  // namespace vello::pictures
