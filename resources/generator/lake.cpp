// A lake below mountains in the light of a high afternoon sun.
#include "resources/generator/scenes.h"
#include "resources/generator/terrain.h"

namespace vello::pictures {
namespace {

const Vec3 kSun = unit({0.40, 0.34, 1});
const Vec3 kGroundLight = unit({0.75, 0.55, -0.25});  // the slopes we see are lit from the side
const Rgb kSunlight{1.00, 0.90, 0.74};
const Rgb kSkylight{0.30, 0.42, 0.62};
const Rgb kHaze{0.56, 0.67, 0.80};

Rgb clearSky(Vec3 ray) {
  const double up = clamp(ray.y, 0, 1);
  const Rgb zenith{0.055, 0.16, 0.43}, middle{0.19, 0.38, 0.70};
  const Rgb sky =
      mix(mix({0.66, 0.75, 0.83}, middle, smoothstep(0, 0.22, up)), zenith, smoothstep(0.1, 0.6, up));
  const double toSun = clamp(dot(ray, kSun), 0, 1);
  const double glow = 0.10 * powOf(toSun, 8) + 0.35 * powOf(toSun, 90) + 0.8 * powOf(toSun, 900);
  return sky + kSunlight * (glow + 14 * smoothstep(0.99983, 0.99989, toSun));
}

// How much cloud lies above a place of the cloud layer, 0..1.
double cloudAt(double x, double z) {
  const double bend = fractal(x * 1.1, z * 1.1, 3, 90);
  const double large = fractal(x * 0.55 + bend * 0.3, z * 0.55, 2, 40);
  const double billows = 1 - 2.4 * std::fabs(fractal(x * 1.9 + bend * 0.5, z * 1.9, 5, 50));
  return smoothstep(
      0.0, 0.55, 0.75 * fractal(x * 1.3 + bend * 0.6, z * 1.3, 6, 60) + 0.28 * billows + large * 1.1 - 0.09);
}

Rgb skyAt(Vec3 ray) {
  const Rgb clear = clearSky(ray);
  if (ray.y < 0.01) return clear;
  const double x = ray.x / (ray.y + 0.09) * 0.95, z = ray.z / (ray.y + 0.09) * 0.95;
  const double thick = cloudAt(x + 3.1, z + 7.7);
  if (thick <= 0) return clear;
  // Darker where more cloud lies on the way to the sun.
  const double shade = clamp(cloudAt(x + 3.1 + 0.14, z + 7.7 - 0.16) * 0.75 + thick * 0.35 - 0.2, 0, 1);
  const double toSun = clamp(dot(ray, kSun), 0, 1);
  const Rgb lit = Rgb{0.98, 0.97, 0.95} + kSunlight * (0.5 * powOf(toSun, 40));
  const Rgb cloud = mix(lit, Rgb{0.44, 0.51, 0.62}, shade);
  const double fading = smoothstep(0.01, 0.10, ray.y);  // into the haze of the horizon
  return mix(clear, mix(kHaze, cloud, fading), thick * (0.35 + 0.65 * fading));
}

double shoreAt(double x) { return 820 + 190 * fractal(x / 420, 0.3, 3, 7) - 260 * smoothstep(-150, -620, x); }

constexpr double kTreeCell = 8;  // metres: one tree stands in each cell

// The crown of one cell's tree above the ground at (x, z), metres.
double crownAt(double x, double z, int64_t ix, int64_t iz) {
  const double size = 11 + 17 * randomOf(ix, iz, 3) * randomOf(ix, iz, 4);
  const double dx = x / kTreeCell - (static_cast<double>(ix) + randomOf(ix, iz, 1));
  const double dz = z / kTreeCell - (static_cast<double>(iz) + randomOf(ix, iz, 2));
  const double away = std::sqrt(dx * dx + dz * dz) / (0.30 + 0.014 * size);
  return size * clamp(1 - away);
}

double treeAt(double x, double z) {
  const auto ix = static_cast<int64_t>(std::floor(x / kTreeCell - 0.5));
  const auto iz = static_cast<int64_t>(std::floor(z / kTreeCell - 0.5));
  double highest = 0;
  for (int i = 0; i < 4; ++i) {
    const double crown = crownAt(x, z, ix + i % 2, iz + i / 2);
    highest = crown > highest ? crown : highest;
  }
  return highest > 0 ? highest + 0.9 * noise(x * 1.7, z * 1.7, 5) : 0;
}

// 0 none .. 1 dense.
double forestAt(double x, double z, double land) {
  const double patch = smoothstep(-0.18, 0.05, fractal(x / 130, z / 130, 3, 11) + 0.10);
  return patch * smoothstep(1.5, 5, land) * smoothstep(420, 260, land + 60 * noise(x / 90, z / 90, 12));
}

double landAt(double x, double z) {
  const double inland = z - shoreAt(x);
  if (inland < -40) return -10;
  const double hills = (0.25 + 1.3 * clamp(0.5 + fractal(x / 520, z / 520, 4, 21))) * 120 *
                       (1 - expOf(-clamp(inland, 0, 1e6) / 330));
  const double far = smoothstep(1700, 6200, z);
  const double massif = expOf(-(x / z + 0.22) * (x / z + 0.22) * 22);  // the highest ones left of the middle
  const double peaks = far * ((1950 + 480 * massif) * ridges(x / 2500 + 0.35, z / 2500, 8, 31) - 520);
  return 0.1 * inland * smoothstep(60, -40, inland) + hills + clamp(peaks, 0, 4000);
}

double heightAt(double x, double z) {
  const double land = landAt(x, z);
  if (land < 1.5 || land > 420 || z > 2600) return land;
  return land + treeAt(x, z) * forestAt(x, z, land);
}

Rgb landColor(double x, double z, double land, Vec3 normal) {
  const double patches = fractal(x / 60, z / 60, 4, 61), fine = fractal(x / 6, z / 6, 3, 62);
  const Rgb meadow = mix(encoded(104, 118, 62), encoded(142, 142, 84), clamp(0.5 + patches + 0.4 * fine));
  const Rgb rock = mix(encoded(104, 98, 94), encoded(146, 136, 126), clamp(0.5 + patches + 0.5 * fine));
  const Rgb woods = mix(encoded(44, 62, 44), encoded(70, 88, 54), clamp(0.5 + patches));
  Rgb color = mix(meadow, woods, z > 2600 ? forestAt(x, z, land) : 0);
  color =
      mix(color, rock, clamp(smoothstep(420, 640, land + 160 * patches) + smoothstep(0.72, 0.5, normal.y)));
  const double snow =
      smoothstep(700, 860, land + 230 * patches) * smoothstep(0.42, 0.68, normal.y + 0.12 * fine);
  return mix(color, encoded(238, 241, 246), snow);
}

Rgb inHaze(Rgb color, double z, double height) {
  const double thin = 0.45 + 0.55 * expOf(-height / 700);
  return mix(kHaze, color, expOf(-z / 8200 * thin - 0.02));
}

Rgb groundColor(double x, double z, double height) {
  const double land = landAt(x, z), crown = height - land;
  const Vec3 normal = normalAt(landAt, x, z, 1 + z / 700);
  Rgb light =
      kSunlight * (1.6 * clamp(dot(normal, kGroundLight), 0, 1)) + kSkylight * (0.22 + 0.25 * normal.y);
  Rgb color = landColor(x, z, land, normal);
  if (crown > 0.8) {
    const Vec3 side = normalAt(heightAt, x, z, 0.8);
    const double sunny = clamp(0.25 + 0.9 * dot(side, kGroundLight), 0, 1);
    const auto ix = static_cast<int64_t>(std::floor(x / kTreeCell)),
               iz = static_cast<int64_t>(std::floor(z / kTreeCell));
    color = mix(encoded(40, 62, 40), encoded(96, 112, 52), randomOf(ix, iz, 9)) *
            (0.8 + 0.4 * randomOf(ix, iz, 8));
    light = (kSunlight * (1.1 * sunny) + kSkylight * 0.34) * (0.35 + 0.65 * smoothstep(0, 16, crown));
  }
  if (land < 2.2)
    color = mix(encoded(128, 120, 104), color, smoothstep(0.6, 2.2, land));  // the shore's stones
  return inHaze(color * light, z, height);
}

// What the water shows: the picture above, mirrored, bent by ripples and mixed with the water's own colour.
Rgb waterAt(const Picture& above, const Camera& camera, int x, int y) {
  const double below = y + 0.5 - camera.horizon, z = camera.eyeHeight * camera.focal / below;
  const double across = (x - camera.width / 2.0) / camera.focal, depth = log2Of(z);
  const double wind = smoothstep(-0.25, 0.35, fractal(across * z / 130, z / 260, 3, 71));
  const double fine = fractal(across * 46, depth * 34, 4, 72), broad = fractal(across * 9, depth * 15, 3, 73);
  const double size = camera.width / 1600.0;
  const double lift = ((8 + 30 * wind) * fine + 16 * broad) * size * (0.35 + below / camera.height);
  double row = camera.horizon - below * 1.04 - std::fabs(lift) - 1;
  if (row < 0) row = -row;
  const int column = static_cast<int>(clamp(x + lift * 0.35, 0, camera.width - 1));
  const Rgb mirrored = above.at(column, static_cast<int>(clamp(row, 0, camera.horizon - 1))).color;
  const double facing = below / camera.focal + 0.10 * (fine + 0.4 * broad) * wind;
  const double reflects = clamp(0.93 - 1.5 * facing, 0.18, 0.95);
  const Rgb deep = mix(encoded(24, 66, 74), encoded(36, 84, 80), clamp(0.5 + broad));
  const double sunX = camera.width / 2.0 + kSun.x / kSun.z * camera.focal;
  const double path = expOf(-(x - sunX) * (x - sunX) / (2 * 2200 * size * size * (4 + below / 20 / size)));
  const double glint = path * smoothstep(0.24, 0.5, fractal(across * 130, depth * 95, 3, 74) + 0.3 * fine) *
                       smoothstep(0, 60 * size, below);
  return mix(deep, Rgb{clamp(mirrored.r, 0, 3), clamp(mirrored.g, 0, 3), clamp(mirrored.b, 0, 3)} * 0.92,
             reflects) +
         kSunlight * (2.2 * glint);
}

void dot(Picture& picture, double cx, double cy, double radius, Rgb color) {
  for (int y = static_cast<int>(cy - radius); y <= static_cast<int>(cy + radius); ++y)
    for (int x = static_cast<int>(cx - radius); x <= static_cast<int>(cx + radius); ++x) {
      const double dx = x - cx, dy = (y - cy) * 1.25, away = std::sqrt(dx * dx + dy * dy) / radius;
      if (away > 1 || x < 0 || y < 0 || x >= picture.width || y >= picture.height) continue;
      picture.at(x, y).color = color * (1.1 - 0.45 * away * (dy > 0 ? 1 : 0.3));
    }
}

double bankAt(double x) {
  return 0.905 + 0.035 * fractal(x * 3.2, 0.5, 3, 81) - 0.05 * smoothstep(0.55, 0, x);
}

void blade(Picture& picture, Random& random, double rootX, double rootY, double nearness) {
  const double size = picture.height * (0.045 + 0.10 * nearness) * random.between(0.45, 1.25);
  const double lean = size * random.between(-0.45, 0.62), width = size * random.between(0.012, 0.024) + 0.6;
  const Rgb young = mix(encoded(132, 150, 52), encoded(178, 172, 84), random.next());
  const Rgb color = mix(encoded(56, 84, 36), young, random.next() * random.next() * 1.2);
  const double lit = random.between(0.55, 1.25);
  for (int i = 0; i < static_cast<int>(size); ++i) {
    const double t = i / size, x = rootX + lean * t * t, half = width * (1 - t * t);
    const int y = static_cast<int>(rootY - size * t * (1 - 0.18 * t));
    if (y < 0 || y >= picture.height) continue;
    for (int px = static_cast<int>(x - half); px <= static_cast<int>(x + half); ++px)
      if (px >= 0 && px < picture.width) picture.at(px, y).color = color * (lit * (0.22 + 0.95 * t));
  }
  if (random.next() > 0.03) return;
  static const Rgb kPetals[] = {encoded(244, 240, 228), encoded(240, 200, 60), encoded(168, 120, 200),
                                encoded(226, 92, 70)};
  const double radius = picture.height * (0.0022 + 0.0042 * nearness) * random.between(0.8, 1.4);
  const double tipY = rootY - size * 0.82;
  dot(picture, rootX + lean, tipY, radius, kPetals[static_cast<size_t>(random.next() * 4)]);
  dot(picture, rootX + lean, tipY, radius * 0.35, encoded(196, 140, 40));
}

void paintMeadow(Picture& picture) {
  forRows(picture.width, [&](int x) {
    const double bank = bankAt(x / double(picture.width)) * picture.height;
    for (int y = static_cast<int>(bank); y < picture.height; ++y)
      picture.at(x, y).color = encoded(46, 60, 30) * (0.7 + 0.5 * noise(x * 0.02, y * 0.05, 82));
  });
  constexpr int kBlades = 9000;
  Random random(2024);
  for (int i = 0; i < kBlades; ++i) {
    const double nearness = i / double(kBlades), x = random.between(-0.02, 1.02);
    const double bank = bankAt(x), row = mix(bank + 0.008, 1.10, nearness);
    blade(picture, random, x * picture.width, row * picture.height, nearness);
  }
}

}  // namespace

Picture lake(int width, int height) {
  constexpr int kFiner = 2;
  const Camera camera{width * kFiner, height * kFiner, height * kFiner * 0.56, width * kFiner * 0.87, 6.5};
  Picture scene = paint(camera.width, camera.height,
                        [&](int x, int y) { return Pixel{skyAt(camera.ray(x + 0.5, y + 0.5))}; });
  const auto step = [](double z) { return z < 2600 ? 0.0016 * z : 0.002 * z; };
  const auto height_ = [](double x, double z) { return heightAt(x, z); };
  paintGround(scene, camera, {height_, groundColor, 420, 9500, step});
  const Picture above = scene;
  const int surface = static_cast<int>(camera.horizon) + 1;
  forRows(camera.height - surface, [&](int row) {
    const int y = surface + row;
    const double z = camera.eyeHeight * camera.focal / (y + 0.5 - camera.horizon);
    for (int x = 0; x < camera.width; ++x)
      if (heightAt((x + 0.5 - camera.width / 2.0) * z / camera.focal, z) <= 0)
        scene.at(x, y).color = waterAt(above, camera, x, y);
  });
  paintMeadow(scene);
  Picture picture = reduced(scene, kFiner);
  for (Pixel& pixel : picture.pixels) pixel.color = filmic(pixel.color);
  addGrain(picture, 1.6, 100);
  return picture;
}

}  // namespace vello::pictures
