// The rows of the catalogue: one a filter, in its family's file, with inputs in the platform's order.
#pragma once

#include "engine/filters/kinds.h"
#include "engine/filters/values.h"

namespace vello {

// A number that a row leaves out.
inline constexpr double kNone = __builtin_nan("");

struct Span {
  double low = kNone, high = kNone;
};

enum class InputClass { number, vector, color, image, transform, text, data, object };

struct InputDef {
  const char* key;
  const char* displayName;
  InputClass inputClass;
  const char* type;   // "" when the input has none
  double initial[6];  // default: as many as `count` says
  int count;          // 0: no default
  double identity[6];
  int identityCount;  // 0: no identity
  Span range, slider;
};

struct NumberOptions {
  double initial = kNone;
  double identity = kNone;
  Span range = {};   // least and greatest allowed
  Span slider = {};  // what a slider spans
};

constexpr InputDef numberInput(const char* key, const char* name, const char* type, NumberOptions o) {
  return {key,
          name,
          InputClass::number,
          type,
          {o.initial},
          o.initial == o.initial,
          {o.identity},
          o.identity == o.identity,
          o.range,
          o.slider};
}
constexpr InputDef scalar(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Scalar", o);
}
constexpr InputDef distance(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Distance", o);
}
// Radians, counter-clockwise.
constexpr InputDef angle(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Angle", o);
}
constexpr InputDef timeInput(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Time", o);
}
constexpr InputDef boolean(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Boolean", o);
}
constexpr InputDef integer(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Integer", o);
}
constexpr InputDef count(const char* key, const char* name, NumberOptions o) {
  return numberInput(key, name, "Count", o);
}

constexpr InputDef image(const char* key = "inputImage", const char* name = "Image",
                         const char* type = "Image") {
  return {key, name, InputClass::image, type, {}, 0, {}, 0, {}, {}};
}
constexpr InputDef backgroundImage() { return image("inputBackgroundImage", "Background Image"); }

constexpr InputDef position(const char* key, const char* name, double x, double y) {
  return {key, name, InputClass::vector, "Position", {x, y}, 2, {}, 0, {}, {}};
}
constexpr InputDef position3(const char* key, const char* name, double x, double y, double z) {
  return {key, name, InputClass::vector, "Position3", {x, y, z}, 3, {}, 0, {}, {}};
}
constexpr InputDef offset(const char* key, const char* name, double x, double y) {
  return {key, name, InputClass::vector, "Offset", {x, y}, 2, {}, 0, {}, {}};
}
constexpr InputDef rectangle(const char* key, const char* name, double x, double y, double w, double h) {
  return {key, name, InputClass::vector, "Rectangle", {x, y, w, h}, 4, {}, 0, {}, {}};
}
constexpr InputDef vector4(const char* key, const char* name, double x, double y, double z, double w) {
  return {key, name, InputClass::vector, "", {x, y, z, w}, 4, {}, 0, {}, {}};
}
constexpr InputDef color(const char* key, const char* name, double r, double g, double b, double a,
                         const char* type = "Color") {
  return {key, name, InputClass::color, type, {r, g, b, a}, 4, {}, 0, {}, {}};
}
constexpr InputDef transform() {
  return {"inputTransform",
          "Transform",
          InputClass::transform,
          "",
          {1, 0, 0, 1, 0, 0},
          6,
          {1, 0, 0, 1, 0, 0},
          6,
          {},
          {}};
}
// The input with its default as its identity.
constexpr InputDef withIdentity(InputDef input) {
  for (int i = 0; i < 6; ++i) input.identity[i] = input.initial[i];
  input.identityCount = input.count;
  return input;
}

// What a row makes images with: a kernel over its image inputs, or a composition.
struct Maker {
  const KernelOps* ops = nullptr;
  CIImage (*compose)(const Values&) = nullptr;
  constexpr Maker(const KernelOps* kernel) : ops(kernel) {}
  constexpr Maker(CIImage (*function)(const Values&)) : compose(function) {}
};

template <class K>
constexpr Maker compose() {
  return Maker([](const Values& v) { return K()(v); });
}

// Categories without their prefix, separated by blanks, in the platform's order.
struct FilterDef {
  const char* name;
  const char* displayName;
  const char* categories;
  View<InputDef> inputs;
  Maker maker;
  PitchClass pitchClass = PitchClass::follows;
  bool stepped = false;

  template <int N>
  constexpr FilterDef(const char* n, const char* d, const char* c, const InputDef (&i)[N], Maker m,
                      PitchClass p = PitchClass::follows, bool s = false)
      : name(n), displayName(d), categories(c), inputs{i, N}, maker(m), pitchClass(p), stepped(s) {}
  constexpr FilterDef(const char* n, const char* d, const char* c, View<InputDef> i, Maker m, PitchClass p)
      : name(n), displayName(d), categories(c), inputs(i), maker(m), pitchClass(p) {}
};

struct FilterFamily {
  View<FilterDef> filters;
};

template <int N>
constexpr FilterFamily family(const FilterDef (&filters)[N]) {
  return {{filters, N}};
}

}  // namespace vello
