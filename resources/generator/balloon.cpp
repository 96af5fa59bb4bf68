// A hot-air balloon, cut out: soft edges, a half transparent skirt, ropes thinner than a pixel.
#include "resources/generator/scenes.h"

namespace vello::pictures {
namespace {

// Places run from -1 to 1 across the picture's width; y grows downwards from the crown.
constexpr double kCrown = -1.18, kMouth = 0.62, kBasketTop = 0.98, kBasketEnd = 1.20;

// Half the envelope's width at a height; 0 outside.
double halfWidth(double y) {
  if (y < kCrown || y > kMouth) return 0;
  const double t = (y - kCrown) / (kMouth - kCrown);
  const double dome = std::sqrt(clamp(1 - (t / 0.46 - 1) * (t / 0.46 - 1)));
  const double taper = mix(1, 0.17, smoothstep(0, 1, (t - 0.46) / 0.54 * 0.93 + 0.0));
  return 0.90 * (t < 0.46 ? dome : taper);
}

Pixel envelope(double x, double y, double half) {
  static const Rgb kGores[] = {encoded(206, 44, 48),   encoded(244, 232, 208), encoded(232, 148, 36),
                               encoded(244, 232, 208), encoded(36, 92, 150),   encoded(244, 232, 208)};
  const double side = clamp(x / half, -1, 1), front = std::sqrt(1 - side * side);
  const double turn = angleOf(side, front) / kPi + 0.5, gore = turn * 12;  // 12 gores on the side we see
  const double t = (y - kCrown) / (kMouth - kCrown);
  const double inGore = gore - std::floor(gore);
  Rgb color = kGores[static_cast<int>(gore) % 6];
  const double zigzag = std::fabs(inGore - 0.5) * 0.09;
  if (std::fabs(t - 0.44 - zigzag) < 0.030) color = encoded(30, 44, 84);
  if (std::fabs(t - 0.52 - zigzag) < 0.014) color = encoded(250, 200, 70);
  const double bulge =
      1 - 0.9 * powOf(std::fabs(inGore - 0.5) * 2, 3) * 0.35;  // cloth swells between its seams
  const double seam = smoothstep(0.0, 0.05, inGore) * smoothstep(1, 0.95, inGore);
  const double nx = side, ny = (t - 0.40) * 1.7,
               light = clamp(0.62 - 0.50 * nx - 0.42 * ny + 0.25 * front, 0.08, 1.3);
  const double shine =
      powOf(clamp(1 - ((nx + 0.42) * (nx + 0.42) + (t - 0.22) * (t - 0.22) * 3.5) * 2.2), 3) * 0.35;
  const double creases =
      1 + 0.10 * noise(gore * 2.1, t * 26, 7) * smoothstep(0.5, 1, t) + 0.03 * noise(x * 40, y * 40, 8);
  const double glow = 0.30 * expOf(-((t - 0.92) * (t - 0.92) * 30 + side * side * 2));  // the burner's light
  color = color * (light * bulge * creases * mix(0.72, 1, seam)) + Rgb{1, 0.62, 0.22} * glow +
          Rgb{1, 0.97, 0.9} * shine;
  return {filmic(color), 1};
}

Pixel basket(double x, double y) {
  const double t = (y - kBasketTop) / (kBasketEnd - kBasketTop), half = mix(0.150, 0.125, t);
  if (t < 0 || t > 1 || std::fabs(x) > half) return {{}, 0};
  if (t < 0.12) return {encoded(92, 54, 30) * clamp(1.0 - 2.2 * x), 1};
  const double u = x / half * 9, v = t * 11;
  const double over =
      (static_cast<int>(std::floor(u) + 20) + static_cast<int>(std::floor(v))) % 2 == 0 ? 1 : 0.72;
  const double round = 0.6 + 0.4 * sinOf((over > 0.8 ? v : u) * kPi) * sinOf((over > 0.8 ? v : u) * kPi);
  const double light = clamp(0.95 - 2.6 * x, 0.35, 1.3);
  return {mix(encoded(150, 104, 58), encoded(178, 132, 78),
              randomOf(static_cast<int>(u + 20), static_cast<int>(v), 3)) *
              (over * round * light),
          1};
}

bool rope(double x, double y) {
  if (y < kMouth || y > kBasketTop) return false;
  const double t = (y - kMouth) / (kBasketTop - kMouth);
  for (const double side : {-1.0, -0.45, 0.45, 1.0})
    if (std::fabs(x - side * mix(0.152, 0.146, t)) < 0.0024) return true;
  return false;
}

Pixel at(double x, double y) {
  if (const double half = halfWidth(y); std::fabs(x) < half) return envelope(x, y, half);
  const Pixel woven = basket(x, y);
  if (woven.alpha > 0) return woven;
  if (rope(x, y)) return {encoded(70, 58, 46), 1};
  const double t = (y - kMouth) / 0.12;
  if (t >= 0 && t <= 1 && std::fabs(x) < mix(0.153, 0.128, t))  // the skirt: thin cloth
    return {encoded(226, 120, 60) * clamp(1.05 - 3 * x, 0.4, 1.5), mix(0.75, 0.35, t)};
  const double dx = x / 0.030, dy = (y - 0.835) / 0.085, flame = 1 - dx * dx - dy * dy;
  if (flame > 0) return {mix(encoded(255, 150, 40), encoded(255, 244, 200), flame), clamp(flame * 1.2)};
  if (y > 0.90 && y < 0.94 && std::fabs(x) < 0.05)
    return {encoded(70, 72, 78) * clamp(1 - 6 * x, 0.3, 1.6), 1};
  return {{}, 0};
}

}  // namespace

Picture balloon(int width, int height) {
  return paintSmooth(width, height, 4, [&](double x, double y) {
    return at((x - width / 2.0) / (width / 2.0), (y - height / 2.0) / (width / 2.0));
  });
}

}  // namespace vello::pictures
