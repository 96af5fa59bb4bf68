#include "source/parameters/vector_encoding.h"

namespace vello {
namespace {

// A place or a length on one axis of the image rectangle.
struct Axis {
  double origin, length;
  PropertyList relativePlace(double place) const { return single((place - origin) / length); }
  PropertyList relativeLength(double own) const { return single(own / length); }
  double place(double relative) const { return single(relative * length + origin); }
  double ownLength(double relative) const { return single(relative * length); }

  static double single(double v) { return static_cast<float>(v); }
};

Axis xAxis(const CGRect& r) { return {r.origin.x, r.size.width}; }
Axis yAxis(const CGRect& r) { return {r.origin.y, r.size.height}; }

double component(const PropertyListDictionary& value, std::string_view key) {
  const PropertyList* entry = value.find(key);
  return entry ? Axis::single(entry->number()) : 0;
}

}  // namespace

PropertyListDictionary vectorValue(const CIVector& vector, const CGRect& imageRect) {
  switch (vector.count()) {
    case 2:
      return vector2dValue(vector, imageRect);
    case 3:
      return vector3dValue(vector, imageRect);
    case 4:
      return vector4dValue(vector, imageRect);
    default:
      return {};
  }
}

PropertyListDictionary vector2dValue(const CIVector& vector, const CGRect& imageRect) {
  PropertyListDictionary value;
  value.set("X", xAxis(imageRect).relativePlace(vector.X()));
  value.set("Y", yAxis(imageRect).relativePlace(vector.Y()));
  return value;
}

PropertyListDictionary vector3dValue(const CIVector& vector, const CGRect& imageRect) {
  PropertyListDictionary value = vector2dValue(vector, imageRect);
  value.set("Z", Axis::single(vector.Z()));
  return value;
}

PropertyListDictionary vector4dValue(const CIVector& vector, const CGRect& imageRect) {
  PropertyListDictionary value = vector2dValue(vector, imageRect);
  value.set("W", xAxis(imageRect).relativeLength(vector.Z()));
  value.set("H", yAxis(imageRect).relativeLength(vector.W()));
  return value;
}

CIVector vectorWithValue(const PropertyListDictionary& value, const CGRect& imageRect) {
  switch (value.size()) {
    case 2:
      return vector2dWithValue(value, imageRect);
    case 3:
      return vector3dWithValue(value, imageRect);
    case 4:
      return vector4dWithValue(value, imageRect);
    default:
      return vectorWithRect({});
  }
}

CIVector vector2dWithValue(const PropertyListDictionary& value, const CGRect& imageRect) {
  return {xAxis(imageRect).place(component(value, "X")), yAxis(imageRect).place(component(value, "Y"))};
}

CIVector vector3dWithValue(const PropertyListDictionary& value, const CGRect& imageRect) {
  return {xAxis(imageRect).place(component(value, "X")), yAxis(imageRect).place(component(value, "Y")),
          component(value, "Z")};
}

CIVector vector4dWithValue(const PropertyListDictionary& value, const CGRect& imageRect) {
  return {xAxis(imageRect).place(component(value, "X")), yAxis(imageRect).place(component(value, "Y")),
          xAxis(imageRect).ownLength(component(value, "W")),
          yAxis(imageRect).ownLength(component(value, "H"))};
}

CIVector vectorWithPoint(CGPoint point) { return {point.x, point.y}; }

CIVector vectorWithRect(const CGRect& rect) {
  return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

CGPoint pointValue(const CIVector& vector) { return {vector.X(), vector.Y()}; }

CGRect rectValue(const CIVector& vector) { return {{vector.X(), vector.Y()}, {vector.Z(), vector.W()}}; }

}  // namespace vello
