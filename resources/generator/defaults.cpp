#include "resources/generator/defaults.h"

#include "resources/generator/scenes.h"

namespace vello::pictures {
namespace {

constexpr int kSize = 256;
constexpr double kHalf = kSize / 2.0;

Rgb gray(double value) { return encoded(value * 255, value * 255, value * 255); }  // 0..1, encoded

// A picture of a place's coordinates, -1..1 across, y upwards.
Picture square(const std::function<Pixel(double x, double y)>& place) {
  return paintSmooth(kSize, kSize, 3,
                     [&](double x, double y) { return place(x / kHalf - 1, 1 - y / kHalf); });
}

// A ball that fills the square, its light by (x, y) of the normal; black around it.
Picture ball(const std::function<Rgb(double x, double y, double facing)>& light) {
  return square([&](double x, double y) {
    const double inside = 1 - x * x - y * y;
    return inside <= 0 ? Pixel{} : Pixel{light(x, y, std::sqrt(inside))};
  });
}

double highlight(double x, double y, double centerX, double centerY, double width) {
  const double dx = x - centerX, dy = y - centerY;
  return expOf(-(dx * dx + dy * dy) / (width * width));
}

// Distance to a rectangle with round corners around the middle; negative inside.
double cardEdge(double x, double y, double halfWidth, double halfHeight, double corner) {
  const double dx = std::fabs(x) - halfWidth + corner, dy = std::fabs(y) - halfHeight + corner;
  const double ox = dx > 0 ? dx : 0, oy = dy > 0 ? dy : 0;
  return std::sqrt(ox * ox + oy * oy) - corner + (dx > dy ? (dx < 0 ? dx : 0) : (dy < 0 ? dy : 0));
}

}  // namespace

Picture mask() {
  return square(
      [](double x, double y) { return Pixel{gray(smoothstep(0.86, 0.34, std::sqrt(x * x + y * y)))}; });
}

Picture colorMap() {
  static const Rgb kStops[] = {{12, 12, 60},  {48, 24, 122},  {120, 32, 140}, {196, 48, 110},
                               {236, 92, 66}, {248, 152, 50}, {252, 212, 92}, {250, 248, 214}};
  constexpr int kSpans = static_cast<int>(std::size(kStops)) - 1;
  return paint(kSize, 16, [](int x, int) {
    const double place = x / (kSize - 1.0) * kSpans;
    const int span = place < kSpans ? static_cast<int>(place) : kSpans - 1;
    const Rgb c = mix(kStops[span], kStops[span + 1], place - span);
    return Pixel{encoded(c.r, c.g, c.b)};
  });
}

Picture texture() {
  return paint(kSize, kSize, [](int x, int y) {
    const double grain = fractal(x / 7.0, y / 7.0, 4, 3), swell = fractal(x / 60.0, y / 60.0, 3, 8);
    return Pixel{gray(clamp(0.5 + 0.55 * grain + 0.35 * swell))};
  });
}

Picture material() {
  return ball([](double x, double y, double facing) {
    const double horizon = smoothstep(-0.10, 0.06, y + 0.10 * x * x - 0.08);
    const Rgb sky = mix(encoded(208, 222, 238), encoded(52, 92, 150), smoothstep(0, 0.95, y));
    const Rgb ground = mix(encoded(58, 44, 36), encoded(148, 124, 104), smoothstep(0, -0.95, y));
    const double rim = 0.35 + 0.65 * smoothstep(0, 0.5, facing);
    return filmic(mix(ground, sky, horizon) * rim +
                  Rgb{1, 1, 1} * (1.4 * highlight(x, y, -0.34, 0.46, 0.17)));
  });
}

Picture shading() {
  return ball([](double x, double y, double facing) {
    const double wrapped = 0.5 + 0.5 * (0.60 * facing - 0.45 * x + 0.66 * y),
                 light = wrapped * wrapped * 0.95;
    return filmic(Rgb{0.62, 0.62, 0.62} * (0.04 + light) +
                  Rgb{1, 1, 1} * (0.5 * highlight(x, y, -0.32, 0.44, 0.26)));
  });
}

Picture placeholder() {
  return square([](double x, double y) {
    const Rgb card = gray(0.90 + 0.03 * y), line = gray(0.62), sky = gray(0.80);
    const double frame = cardEdge(x, y, 0.66, 0.50, 0.08);
    if (frame > 0) return Pixel{card};
    if (frame > -0.045) return Pixel{line};
    const double sunX = x - 0.30, sunY = y - 0.20;
    if (sunX * sunX + sunY * sunY < 0.011) return Pixel{gray(0.97)};
    const bool front = y < 0.16 - 0.95 * std::fabs(x + 0.22), behind = y < -0.02 - 0.80 * std::fabs(x - 0.30);
    return Pixel{front ? gray(0.58) : behind ? gray(0.68) : sky};
  });
}

Picture pattern() {
  return paint(16, 16, [](int x, int y) { return Pixel{gray((x / 8 + y / 8) % 2 == 0 ? 1.0 : 0.86)}; });
}

Picture sample() { return lake(320, 214); }

}  // namespace vello::pictures
