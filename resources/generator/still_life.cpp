// Spheres on woven cloth beside a test card, in the light of a window: traced paths with one bounce.
#include "resources/generator/scenes.h"
#include "resources/generator/terrain.h"

namespace vello::pictures {
namespace {

struct Sphere {
  Vec3 center;
  double radius;
  Rgb color, shade;  // two tones, mixed by a pattern
  double gloss;      // share of light mirrored when looked at squarely; 0 is matt
  double pores;      // strength of fine relief
};

// Units are centimetres; the cloth is y = 0, the camera looks along z.
const Sphere kSpheres[] = {
    {{-5.4, 4.6, 21}, 4.6, encoded(236, 190, 164), encoded(226, 158, 130), 0.012, 0.05},
    {{4.0, 3.7, 17.5}, 3.7, encoded(196, 140, 104), encoded(176, 112, 80), 0.015, 0.05},
    {{-1.3, 2.5, 12.6}, 2.5, encoded(112, 72, 54), encoded(88, 52, 38), 0.02, 0.05},
    {{9.4, 4.9, 25}, 4.9, encoded(20, 92, 110), encoded(26, 120, 128), 0.05, 0},
    {{-8.3, 1.7, 13.6}, 1.7, encoded(212, 160, 72), encoded(200, 146, 60), 0.55, 0},
    {{7.6, 1.5, 12.0}, 1.5, encoded(168, 30, 34), encoded(190, 44, 38), 0.04, 0},
};
const Vec3 kEye{0, 7.4, -9};
const Vec3 kWindow{-26, 30, -6};   // middle of the light
constexpr double kWindowSize = 9;  // half its edge
const Rgb kWindowLight{1.06, 0.98, 0.88};

struct Hit {
  double away = 1e9;
  Vec3 place, normal;
  Rgb color;
  double gloss = 0;
};

double meets(const Sphere& sphere, Vec3 from, Vec3 ray) {
  const Vec3 to = from - sphere.center;
  const double b = dot(to, ray), inside = b * b - dot(to, to) + sphere.radius * sphere.radius;
  if (inside < 0) return 1e9;
  const double away = -b - std::sqrt(inside);
  return away > 1e-3 ? away : 1e9;
}

Hit onSphere(const Sphere& sphere, Vec3 from, Vec3 ray, double away) {
  const Vec3 place = from + ray * away;
  Vec3 normal = (place - sphere.center) * (1 / sphere.radius);
  const double u = normal.x * 2.2 + normal.z, v = normal.y * 2.2 - normal.z;
  const double tone = clamp(0.5 + 1.1 * fractal(u + 3 * sphere.radius, v, 4, 5));
  if (sphere.pores > 0) {
    const double x = normal.x * 30 + normal.z * 9, y = normal.y * 30 - normal.z * 13;
    normal = unit(normal + Vec3{noise(x, y, 7), noise(x, y, 8), noise(y, x, 9)} * sphere.pores);
  }
  return {away, place, normal, mix(sphere.color, sphere.shade, tone), sphere.gloss};
}

// Linen with a blue check, threads over and under each other.
Hit onCloth(Vec3 from, Vec3 ray) {
  const double away = -from.y / ray.y;
  const Vec3 place = from + ray * away;
  const auto stripe = [](double v) { return v / 2.6 - std::floor(v / 2.6) < 0.5 ? 1.0 : 0.0; };
  const double turned = place.x * 0.94 + place.z * 0.34, across = place.z * 0.94 - place.x * 0.34;
  const double warp = sinOf(turned * 26), weft = sinOf(across * 26);
  const double over = sinOf(turned * 13) * sinOf(across * 13);
  const double dye = over > 0 ? stripe(turned) : stripe(across);
  const Rgb thread = mix(encoded(232, 226, 212), encoded(72, 104, 148), dye * 0.9);
  const double relief = 0.80 + 0.14 * (over > 0 ? warp : weft) + 0.10 * noise(turned * 7, across * 1.5, 21);
  const double folds = 0.10 * fractal(place.x * 0.10, place.z * 0.07, 2, 22);
  const Vec3 normal = unit({0.12 * warp + folds, 1, 0.12 * weft + folds * 0.5});
  return {away, place, normal, thread * relief, 0};
}

double line(double v, double pitch) { return v / pitch - std::floor(v / pitch) < 0.5 ? 0.04 : 0.86; }

// Colour of the card at (u, v), 0..1 from its lower left corner.
Rgb cardColor(double u, double v) {
  const Rgb paper{0.84, 0.84, 0.82};
  const auto gray = [](double value) { return Rgb{value, value, value}; };
  const double dx = u - 0.30, dy = (v - 0.66) * 1.28, away = std::sqrt(dx * dx + dy * dy);
  if (away < 0.22) return away < 0.012 ? paper : gray(line(angleOf(dy, dx) + kPi, kPi / 36));
  if (u > 0.58 && u < 0.94 && v > 0.42 && v < 0.90) {  // ever finer lines
    const double group = std::floor((v - 0.42) / 0.08), inGroup = (v - 0.42) / 0.08 - group;
    const double pitch = 0.044 * exp2Of(-0.5 * group);
    return inGroup > 0.8 ? paper : gray(u < 0.76 ? line(u, pitch) : line((v - 0.42) * 1.28, pitch));
  }
  if (v > 0.22 && v < 0.34 && u > 0.06 && u < 0.94)
    return gray(powOf(std::floor((u - 0.06) / 0.88 * 11) / 10, 2.2) * 0.86 + 0.02);
  if (v > 0.06 && v < 0.18 && u > 0.06 && u < 0.94) {
    static const Rgb kPatches[] = {encoded(115, 82, 68), encoded(194, 150, 130), encoded(214, 126, 44),
                                   encoded(175, 54, 60), encoded(231, 199, 31),  encoded(70, 148, 73),
                                   encoded(8, 133, 161), encoded(56, 61, 150),   encoded(187, 86, 149)};
    return kPatches[static_cast<int>((u - 0.06) / 0.88 * 9)];
  }
  return paper;
}

bool onCard(Vec3 from, Vec3 ray, Hit& hit) {
  constexpr double kDepth = 31, kLeft = -7.5, kWidth = 13.5, kHeight = 17.3;
  const double away = (kDepth - from.z) / ray.z;
  if (ray.z == 0 || away < 1e-3 || away > hit.away) return false;
  const Vec3 place = from + ray * away;
  const double u = (place.x - kLeft) / kWidth, v = place.y / kHeight;
  if (u < 0 || u > 1 || v < 0 || v > 1) return false;
  hit = {away, place, {0, 0, -1}, cardColor(u, v), 0};
  return true;
}

// The room behind: a plain wall in a soft fall of light, and far lamps out of focus.
Rgb room(Vec3 ray) {
  const Rgb wall =
      mix(encoded(58, 62, 70), encoded(128, 124, 116), smoothstep(0.9, -0.6, ray.x + 0.5 * ray.y));
  Rgb lamps;
  for (int i = 0; i < 14; ++i) {
    const double x = mix(-0.75, 0.75, randomOf(i, 1, 30)), y = mix(0.06, 0.5, randomOf(i, 2, 30));
    const double dx = ray.x - x, dy = ray.y - y, size = mix(0.028, 0.055, randomOf(i, 3, 30));
    const double disc = smoothstep(size, size * 0.86, std::sqrt(dx * dx + dy * dy));
    lamps = lamps + mix(encoded(232, 176, 104), encoded(216, 206, 190), randomOf(i, 4, 30)) *
                        (disc * mix(0.05, 0.22, randomOf(i, 5, 30)));
  }
  return wall * 1.15 + lamps * 1.3;
}

Rgb ceiling(Vec3 ray) { return mix(encoded(70, 66, 62), encoded(150, 156, 164), clamp(0.5 + 0.5 * ray.y)); }

// What a mirroring surface sees where nothing stands: the room, and the window with its bars.
Rgb mirroredRoom(Vec3 from, Vec3 ray) {
  const Vec3 to = unit(kWindow - from), right = unit({to.z, 0, -to.x});
  const Vec3 up{to.y * right.z - to.z * right.y, to.z * right.x - to.x * right.z,
                to.x * right.y - to.y * right.x};
  const double facing = dot(ray, to);
  const double u = dot(ray, right) / facing * 3, v = dot(ray, up) / facing * 3;
  const bool pane =
      facing > 0 && std::fabs(u) < 0.8 && std::fabs(v) < 1 && std::fabs(u) > 0.05 && std::fabs(v) > 0.05;
  return pane ? Rgb{6, 6, 5.8} : ceiling(ray);
}

Hit trace(Vec3 from, Vec3 ray) {
  Hit hit;
  const Sphere* nearest = nullptr;
  for (const Sphere& sphere : kSpheres) {
    const double away = meets(sphere, from, ray);
    if (away < hit.away) hit.away = away, nearest = &sphere;
  }
  if (nearest) hit = onSphere(*nearest, from, ray, hit.away);
  onCard(from, ray, hit);
  if (ray.y < 0 && from.y > 1e-3 && -from.y / ray.y < hit.away) hit = onCloth(from, ray);
  return hit;
}

bool dark(Vec3 from, Vec3 ray) {
  for (const Sphere& sphere : kSpheres)
    if (meets(sphere, from, ray) < 1e8) return true;
  Hit hit;
  return onCard(from, ray, hit);
}

Rgb windowLight(const Hit& hit, Random& random) {
  const Vec3 spot =
      kWindow + Vec3{random.between(-1, 1), random.between(-1, 1), random.between(-1, 1)} * kWindowSize;
  const Vec3 to = unit(spot - hit.place);
  // Light that wanders below a skin's surface softens the edge of the shade and reddens it.
  const double facing = dot(hit.normal, to);
  if (facing <= -0.2 || dark(hit.place + hit.normal * 1e-2, to)) return {};
  const double direct = clamp(facing), soft = clamp((facing + 0.2) / 1.2);
  return kWindowLight * Rgb{mix(direct, soft, 0.5), mix(direct, soft, 0.2), direct} * 1.15;
}

Vec3 scattered(Vec3 normal, Random& random) {
  const double height = random.between(-1, 1), turn = random.between(0, 2 * kPi);
  const double round = std::sqrt(1 - height * height);
  return unit(normal * 1.001 + Vec3{round * cosOf(turn), height, round * sinOf(turn)});
}

// Light from the window and, once scattered, from all around.
Rgb diffuseLight(const Hit& hit, Random& random) {
  const Vec3 start = hit.place + hit.normal * 1e-2, way = scattered(hit.normal, random);
  const Hit next = trace(start, way);
  const Rgb around = next.away > 1e8 ? ceiling(way) : next.color * windowLight(next, random);
  return windowLight(hit, random) + around * 0.75;
}

Rgb mirrored(const Hit& hit, Vec3 ray, Random& random) {
  const Vec3 start = hit.place + hit.normal * 1e-2, way = unit(ray - hit.normal * (2 * dot(hit.normal, ray)));
  const Hit next = trace(start, way);
  return next.away > 1e8 ? mirroredRoom(start, way) : next.color * diffuseLight(next, random);
}

Rgb seen(Vec3 from, Vec3 ray, Random& random) {
  const Hit hit = trace(from, ray);
  if (hit.away > 1e8) return room(ray);
  const Rgb color = hit.color * diffuseLight(hit, random);
  if (hit.gloss <= 0) return color;
  if (hit.gloss < 0.03) {  // skin: one soft highlight
    const Vec3 half = unit(unit(kWindow - hit.place) - ray);
    return color + kWindowLight * (0.11 * powOf(clamp(dot(hit.normal, half)), 34));
  }
  const bool metal = hit.gloss > 0.3;
  const double edge = powOf(1 - clamp(-dot(hit.normal, ray)), 5);  // C. Schlick, 1994
  return mix(color, mirrored(hit, ray, random) * (metal ? hit.color : Rgb{1, 1, 1}), mix(hit.gloss, 1, edge));
}

}  // namespace

Picture stillLife(int width, int height) {
  constexpr int kPaths = 28;  // a pixel
  const Vec3 middle = unit({0, -0.14, 1}), up = unit({0, 1, 0.14});
  const double focal = width * 1.22, focus = 27;
  Picture picture = paint(width, height, [&](int x, int y) {
    Rgb sum;
    for (int i = 0; i < kPaths; ++i) {
      Random random(x, y, i);
      const double px = x + random.next(), py = y + random.next();
      const Vec3 aim =
          middle + Vec3{1, 0, 0} * ((px - width / 2.0) / focal) + up * ((height / 2.0 - py) / focal);
      const Vec3 lens{random.between(-0.09, 0.09), random.between(-0.09, 0.09), 0};
      const Rgb light = seen(kEye + lens, unit(aim * focus - lens), random);
      sum = sum + filmic(light);
    }
    return Pixel{sum * (1.0 / kPaths)};
  });
  addGrain(picture, 0.8, 200);
  return picture;
}

}  // namespace vello::pictures
