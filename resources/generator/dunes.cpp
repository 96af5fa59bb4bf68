// Sand dunes after sunset: long smooth tones for which 8 bits are too few.
#include "resources/generator/scenes.h"
#include "resources/generator/terrain.h"

namespace vello::pictures {
namespace {

const Vec3 kLight = unit({-0.9, 0.26, 0.34});

Rgb skyAt(Vec3 ray) {
  const double up = clamp(ray.y, 0, 1), west = clamp(0.5 - ray.x * 0.9);
  const Rgb ember = mix(encoded(214, 128, 112), encoded(255, 190, 110), west);
  const Rgb rose = mix(encoded(146, 110, 142), encoded(216, 148, 138), west);
  const Rgb sky =
      mix(mix(ember, rose, smoothstep(0, 0.14, up)), encoded(38, 54, 106), smoothstep(0.06, 0.62, up));
  const double veil = fractal(ray.x * 1.6 / (up + 0.2), 5 / (up + 0.2), 5, 3);
  const double cloud = smoothstep(0.02, 0.6, veil) * smoothstep(0.04, 0.16, up) * 0.6;
  const Rgb lit = mix(sky, mix(encoded(250, 150, 110), encoded(255, 196, 150), west), cloud);
  const double moonX = ray.x - 0.21, moonY = ray.y - 0.29, away = std::sqrt(moonX * moonX + moonY * moonY);
  const double shadow = std::sqrt((moonX - 0.007) * (moonX - 0.007) + (moonY - 0.004) * (moonY - 0.004));
  const double crescent = smoothstep(0.0165, 0.0150, away) * smoothstep(0.0145, 0.0165, shadow);
  return lit + Rgb{0.9, 0.86, 0.74} * (crescent + 0.02 * expOf(-away * 26));
}

// Long backs towards the wind, steep fronts away from it.
double duneAt(double x, double z, double length, uint32_t seed) {
  const double bend = 1.5 * fractal(x / length * 0.35, z / length * 0.30, 2, seed);
  const double phase = (x * 0.80 + z * 0.55) / length + bend;
  const double t = phase - std::floor(phase);
  const double back = smoothstep(0, 0.74, t), front = smoothstep(1, 0.74, t);
  return (t < 0.74 ? back : front) * (0.6 + 0.5 * noise(x / length * 0.4, z / length * 0.4, seed + 9));
}

double heightAt(double x, double z) {
  const double large = 42 * duneAt(x - 60, z, 230, 11) * smoothstep(20, 260, z),
               small = 4.6 * duneAt(x + 37, z, 58, 31);
  return large + small - 6.5 + 10 * smoothstep(500, 2200, z);
}

double rippledAt(double x, double z) {
  const double phase = (x * 0.5 + z * 0.9) / 0.42 + 2.2 * fractal(x / 5, z / 5, 3, 51);
  return heightAt(x, z) + 0.014 * sinOf(phase * 2 * kPi) * smoothstep(60, 22, z);
}

Rgb sandColor(double x, double z, double) {
  const Vec3 normal = normalAt(rippledAt, x, z, 0.05 + z * 0.0012);
  const double sun = clamp(dot(normal, kLight), 0, 1), sky = 0.5 + 0.5 * normal.y;
  const Rgb sand = encoded(226, 184, 142) * (1 + 0.05 * noise(x * 9, z * 9, 52) * smoothstep(90, 20, z));
  const Rgb light = Rgb{1.75, 1.06, 0.62} * sun + Rgb{0.17, 0.165, 0.27} * (sky * 0.75);
  return mix(encoded(206, 140, 126), sand * light, expOf(-z / 1900));
}

}  // namespace

Picture dunes(int width, int height) {
  constexpr int kFiner = 2;
  const Camera camera{width * kFiner, height * kFiner, height * kFiner * 0.56, width * kFiner * 0.95, 6.0};
  Picture scene = paint(camera.width, camera.height,
                        [&](int x, int y) { return Pixel{skyAt(camera.ray(x + 0.5, y + 0.5))}; });
  paintGround(scene, camera, {heightAt, sandColor, 3, 4000, [](double z) { return 0.003 * z; }});
  Picture picture = reduced(scene, kFiner);
  for (Pixel& pixel : picture.pixels) pixel.color = filmic(pixel.color);
  return picture;
}

}  // namespace vello::pictures
