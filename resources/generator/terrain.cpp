#include "resources/generator/terrain.h"

namespace vello::pictures {
namespace {

void paintColumn(Picture& picture, const Camera& camera, const Ground& ground, int column) {
  int top = picture.height;  // rows from here down are painted
  Rgb before;
  for (double z = ground.nearest; z < ground.farthest && top > 0; z += ground.step(z)) {
    const double x = (column + 0.5 - camera.width / 2.0) * z / camera.focal;
    const double height = ground.height(x, z);
    const double row = camera.horizon - (height - camera.eyeHeight) * camera.focal / z;
    if (row >= top) continue;
    const Rgb color = ground.color(x, z, height);
    const int last = top;
    if (last == picture.height) before = color;
    top = row < 0 ? 0 : static_cast<int>(row);
    for (int y = top; y < last; ++y)
      picture.at(column, y).color = mix(color, before, (y + 0.5 - top) / (last - top));
    before = color;
  }
}

}  // namespace

void paintGround(Picture& picture, const Camera& camera, const Ground& ground) {
  forRows(picture.width, [&](int column) { paintColumn(picture, camera, ground, column); });
}

Vec3 normalAt(const std::function<double(double, double)>& height, double x, double z, double reach) {
  const double h = height(x, z);
  return unit({h - height(x + reach, z), reach, h - height(x, z + reach)});
}

}  // namespace vello::pictures
