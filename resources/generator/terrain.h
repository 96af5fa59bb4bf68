// Landscapes as a camera at the origin sees them, looking along z; lengths in metres, y upwards.
#pragma once

#include <functional>

#include "resources/generator/picture.h"

namespace vello::pictures {

struct Vec3 {
  double x = 0, y = 0, z = 0;
};
inline Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 unit(Vec3 v) { return v * (1 / std::sqrt(dot(v, v))); }

struct Camera {
  int width, height;  // of the picture, pixels
  double horizon;     // row of the horizon
  double focal;       // pixels
  double eyeHeight;   // metres

  Vec3 ray(double x, double y) const { return unit({(x - width / 2.0) / focal, (horizon - y) / focal, 1}); }
};

struct Ground {
  std::function<double(double x, double z)> height;
  std::function<Rgb(double x, double z, double height)> color;  // as it arrives at the camera
  double nearest, farthest;
  std::function<double(double z)> step;  // from one sample to the next, metres
};

// Paints the ground over what the picture holds, each column from front to back.
void paintGround(Picture& picture, const Camera& camera, const Ground& ground);

// The ground's upward normal, from heights `reach` metres apart.
Vec3 normalAt(const std::function<double(double, double)>& height, double x, double z, double reach);

}  // namespace vello::pictures
