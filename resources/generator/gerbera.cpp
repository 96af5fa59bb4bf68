// A flower close up, in reds and pinks that lie outside sRGB.
#include "resources/generator/scenes.h"

namespace vello::pictures {
namespace {

// Light out of focus behind the flower. Places run from -1 to 1 across the width, y downwards.
Rgb background(double x, double y) {
  Rgb color =
      mix({0.010, 0.10, 0.030}, {0.05, 0.30, 0.045}, clamp(0.5 + fractal(x * 0.9, y * 0.9, 2, 3) - 0.35 * y));
  for (int i = 0; i < 46; ++i) {
    const double dx = x - mix(-1.2, 1.2, randomOf(i, 0, 5)), dy = y - mix(-1.2, 1.0, randomOf(i, 1, 5));
    const double size = mix(0.07, 0.17, randomOf(i, 2, 5)), away = std::sqrt(dx * dx + dy * dy) / size;
    const double disc = smoothstep(1.0, 0.90, away) * (0.7 + 0.3 * away * away);
    const Rgb light = mix({0.10, 0.48, 0.04}, {0.62, 0.66, 0.10}, randomOf(i, 3, 5));
    color = color + light * (disc * mix(0.03, 0.20, randomOf(i, 4, 5)));
  }
  return color;
}

struct Layer {
  int petals;
  double length, width;  // width as a share of the angle a petal has for itself
  double turn, shade;
};
constexpr Layer kLayers[] = {  // from the back
    {23, 0.93, 1.45, 0.4, 0.62},
    {23, 0.90, 1.35, 0.0, 0.85},
    {21, 0.76, 1.30, 0.6, 0.97},
    {19, 0.47, 1.30, 0.2, 0.86}};

// The petal of a layer that covers a place, with its shading; alpha 0 where there is none.
Pixel petal(const Layer& layer, uint32_t seed, double radius, double angle, int neighbour) {
  const double share = 2 * kPi / layer.petals;
  const double index = std::floor(angle / share + layer.turn) + neighbour;
  const auto number = (static_cast<int64_t>(index) % layer.petals + layer.petals) % layer.petals;
  const double middle = (index + 0.5 - layer.turn + 0.24 * (randomOf(number, 1, seed) - 0.5)) * share;
  const double length = layer.length * mix(0.93, 1.04, randomOf(number, 2, seed)), t = radius / length;
  if (t > 1 || t < 0.05) return {{}, 0};
  const double tip = std::sqrt(clamp(1 - powOf(t, 7))), body = mix(0.55, 1, smoothstep(0, 0.6, t));
  const double half = layer.width * 0.5 * share * layer.length * 0.80 * body * tip;
  const double across = (angle - middle) * radius / half + 0.10 * noise(t * 2.2, number * 7.0, seed);
  if (std::fabs(across) > 1) return {{}, 0};
  const double streak = fractal(across * 5.5 + number * 13.0, t * 1.6, 3, seed + 20);
  const double fold = 1 - 0.30 * expOf(-across * across * 55) -
                      0.16 * expOf(-(std::fabs(across) - 0.5) * (std::fabs(across) - 0.5) * 70);
  const double curl = 0.62 + 0.50 * smoothstep(0.05, 0.85, t) - 0.22 * smoothstep(0.86, 1, t) - 0.13 * across;
  const double rim = 1 + 0.35 * smoothstep(0.86, 1, std::fabs(across));
  const double sun = 1.0 - 0.26 * sinOf(middle) - 0.16 * cosOf(middle);
  const Rgb root{0.98, 0.30, 0.03}, blade{0.93, 0.018, 0.13}, edge{1.0, 0.10, 0.34};
  const Rgb color = mix(mix(root, blade, smoothstep(0.16, 0.50, t)), edge, smoothstep(0.70, 1, t) * 0.7);
  return {color * (layer.shade * fold * curl * rim * sun * (1 + 0.30 * streak)), 1};
}

// Florets stand in the spiral of H. Vogel (1979): the n-th at the golden angle times n, at root n.
Rgb center(double x, double y, double size) {
  constexpr int kFlorets = 330;
  Rgb color{0.05, 0.006, 0.004};
  double nearest = 1;
  for (int n = 1; n < kFlorets; ++n) {
    const double radius = size * std::sqrt(n / double(kFlorets)), angle = n * 2.39996322972865332;
    const double dx = x - radius * cosOf(angle), dy = y - radius * sinOf(angle);
    const double away = std::sqrt(dx * dx + dy * dy) / (size * 0.058);
    if (away >= nearest) continue;
    nearest = away;
    const double ring = radius / size,
                 light = clamp(1.15 - 0.9 * away - 0.35 * (dx + dy) / (size * 0.058), 0.05, 1.6);
    const Rgb tone = mix(mix({0.16, 0.22, 0.02}, {0.20, 0.018, 0.010}, smoothstep(0.12, 0.40, ring)),
                         {0.95, 0.50, 0.03}, smoothstep(0.72, 0.95, ring) * 0.9);
    color = tone * light;
  }
  return color;
}

Pixel flower(double x, double y) {
  constexpr double kCenter = 0.235;
  const double radius = std::sqrt(x * x + y * y), angle = angleOf(y, x);
  if (radius < kCenter * 1.02) return {center(x, y, kCenter), 1};
  Pixel top{{}, 0};
  uint32_t seed = 40;
  double shadow = 1;
  for (const Layer& layer : kLayers) {
    seed += 50;
    for (const int neighbour : {-1, 1, 0}) {
      const Pixel one = petal(layer, seed, radius, angle, neighbour);
      if (one.alpha > 0) top = one;
    }
    shadow = smoothstep(kCenter * 0.8, kCenter * 1.6, radius);
  }
  top.color = top.color * mix(0.42, 1, shadow);
  return top;
}

Pixel at(double x, double y) {
  const Pixel petals = flower(x - 0.04, (y + 0.03) * 1.06);
  if (petals.alpha > 0) return {filmic(petals.color), 1};
  const double bend = 0.09 * (y - 0.2) * (y - 0.2), side = (x - 0.06 - bend) / 0.045;
  if (y > 0.2 && std::fabs(side) < 1)
    return {Rgb{0.10, 0.34, 0.05} * (0.35 + 0.9 * std::sqrt(1 - side * side) * (0.8 - 0.4 * side)), 1};
  return {filmic(background(x, y)), 1};
}

}  // namespace

Picture gerbera(int width, int height) {
  Picture picture = paintSmooth(width, height, 3, [&](double x, double y) {
    return at((x - width / 2.0) / (width / 2.0), (y - height / 2.0) / (width / 2.0));
  });
  addGrain(picture, 1.0, 300);
  return picture;
}

}  // namespace vello::pictures
