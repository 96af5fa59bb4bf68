#include "engine/filters/values.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/image/extent.h"
#include "platform/color_space.h"

namespace vello {
namespace {

constexpr double kNumberLimit = 1e30;
constexpr double kColorLimit = 1e15;  // light times alpha is finite too

double finite(double v, double limit = kNumberLimit) {
  return std::isnan(v) ? 0 : std::clamp(v, -limit, limit);
}

}  // namespace

const Value& Values::value(const char* key) const {
  static const Value nil;
  for (const NamedValue& item : items_)
    if (item.key == key || std::strcmp(item.key, key) == 0) return item.value;
  return nil;
}

void Values::set(const char* key, Value value) {
  for (NamedValue& item : items_) {
    if (std::strcmp(item.key, key) != 0) continue;
    item.value = std::move(value);
    return;
  }
  items_.push_back({key, std::move(value)});
}

double Values::number(const char* key) const { return finite(value(key).number()); }

double Values::number(const char* key, double low, double high) const {
  return std::min(std::max(number(key), low), high);
}

double Values::component(const char* key, int index) const {
  const CIVector* vector = value(key).vector();
  return vector ? finite(vector->valueAtIndex(index)) : 0;
}

CGRect Values::rect(const char* key) const {
  const CIVector* v = value(key).vector();
  if (!v) return {};
  const CGPoint low = kInfiniteExtent.origin;
  // Before numbers are clamped: the rectangle that holds everything has a size near the largest double.
  const bool allX = v->X() <= low.x && v->X() + v->Z() >= -low.x;
  const bool allY = v->Y() <= low.y && v->Y() + v->W() >= -low.y;
  const auto clean = [](double c) { return std::isnan(c) ? 0 : std::clamp(c, -1e300, 1e300); };
  const CGRect r{{clean(v->X()), clean(v->Y())}, {clean(v->Z()), clean(v->W())}};
  return allX && allY ? kInfiniteExtent : r;
}

Px Values::color(const char* key) const {
  const CIColor* color = value(key).color();
  if (!color) return {0, 0, 0, 0};
  const double linear[] = {sRGBDecode(finite(color->red())), sRGBDecode(finite(color->green())),
                           sRGBDecode(finite(color->blue()))};
  float out[3];
  for (int i = 0; i < 3; ++i) {
    const double* row = workingMatrix_ ? workingMatrix_ + int64_t{3} * i : nullptr;
    const double mixed = row ? row[0] * linear[0] + row[1] * linear[1] + row[2] * linear[2] : linear[i];
    out[i] = static_cast<float>(finite(mixed, kColorLimit));
  }
  return {out[0], out[1], out[2], static_cast<float>(finite(color->alpha(), kColorLimit))};
}

Px Values::premultiplied(const char* key) const {
  const Px c = color(key);
  return {c.r * c.a, c.g * c.a, c.b * c.a, c.a};
}

CGAffineTransform Values::transform(const char* key) const {
  const CGAffineTransform* t = value(key).transform();
  if (!t) return {};
  return {finite(t->a), finite(t->b), finite(t->c), finite(t->d), finite(t->tx), finite(t->ty)};
}

const std::string& Values::text(const char* key) const {
  static const std::string none;
  const std::string* text = value(key).string();
  return text ? *text : none;
}

CIImage Values::image(const char* key) const {
  const CIImage* image = value(key).image();
  return image ? *image : CIImage();
}

}  // namespace vello
