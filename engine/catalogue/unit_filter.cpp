#include "engine/catalogue/unit_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "engine/filters/kernel_ops.h"

namespace vello {
namespace {

// The kernel object of every unit filter: its code, and behind it the block that `prepare` filled.
struct alignas(16) UnitKernel {
  const VelloUnitFilter* filter;
  CGPoint anchor;

  unsigned char* parameters() { return reinterpret_cast<unsigned char*>(this + 1); }
  const unsigned char* parameters() const { return reinterpret_cast<const unsigned char*>(this + 1); }
};

const UnitKernel& as(const void* kernel) { return *static_cast<const UnitKernel*>(kernel); }

VelloUnitValue valueOf(const VelloUnitInput& input, const Values& values) {
  if (input.input_class == VELLO_UNIT_COLOR) {
    const Px c = values.color(input.key);
    return {{c.r, c.g, c.b, c.a}};
  }
  if (input.input_class == VELLO_UNIT_VECTOR)
    return {{values.component(input.key, 0), values.component(input.key, 1), values.component(input.key, 2),
             values.component(input.key, 3)}};
  const double v = values.number(input.key);
  const double raised = v < input.minimum ? input.minimum : v;  // a missing limit compares false
  return {{raised > input.maximum ? input.maximum : raised, 0, 0, 0}};
}

void make(void* at, const Values& values, const Given& given) {
  const auto& filter = *static_cast<const VelloUnitFilter*>(given.ops->unit);
  auto* kernel = new (at) UnitKernel{&filter, {}};
  if (filter.anchor) kernel->anchor = {values.point(filter.anchor).x, values.point(filter.anchor).y};
  std::memset(kernel->parameters(), 0, filter.parameter_bytes);
  VelloUnitValue unitValues[VELLO_UNIT_INPUTS] = {};
  for (int i = 0; i < filter.input_count; ++i) unitValues[i] = valueOf(filter.inputs[i], values);
  if (filter.prepare) filter.prepare(unitValues, kernel->parameters());
}

void run(const void* at, const Run* images, Places places, const Run& out, int n) {
  const UnitKernel& kernel = as(at);
  VelloUnitSamples image{};
  if (images) image = {images->r, images->g, images->b, images->a};
  const bool point = kernel.filter->kind == VELLO_UNIT_POINT;
  kernel.filter->run(kernel.parameters(), point ? &image : nullptr, {places.x, places.y, places.pitch},
                     {out.r, out.g, out.b, out.a}, n);
}

Px sample(const void* kernel, const Px* images, At at) {
  Px in = images ? images[0] : Px{}, out{};
  const Run image{&in.r, &in.g, &in.b, &in.a};
  run(kernel, &image, {&at.x, at.y, at.pitch}, {&out.r, &out.g, &out.b, &out.a}, 1);
  return out;
}

CGRect firstExtent(const Values&, View<CGRect> images) { return images.count ? images[0] : CGRect{}; }
CGRect everywhere(const Values&, View<CGRect>) { return kInfiniteExtent; }

KernelOps opsOf(const VelloUnitFilter& filter) {
  const bool point = filter.kind == VELLO_UNIT_POINT;
  KernelOps ops{};
  ops.kind = point ? Kind::point : Kind::generate;
  ops.images = point ? 1 : 0;
  ops.straight = filter.straight != 0;
  ops.place = true;
  ops.size = static_cast<int>(sizeof(UnitKernel) + filter.parameter_bytes);
  ops.align = alignof(UnitKernel);
  ops.make = make;
  ops.anchor = [](const void* kernel) { return as(kernel).anchor; };
  ops.extent = point ? firstExtent : everywhere;
  ops.sample = sample;
  for (KernelLoops& loops : ops.loops) loops.run = run;
  ops.unit = &filter;
  return ops;
}

InputDef inputOf(const VelloUnitInput& input) {
  constexpr InputClass kClasses[] = {InputClass::number, InputClass::vector, InputClass::color};
  InputDef def{
      input.key, input.display_name, kClasses[input.input_class], input.type, {}, input.count, {}, 0, {}, {}};
  std::copy(input.initial, input.initial + input.count, def.initial);
  if (input.input_class == VELLO_UNIT_NUMBER) {
    def.range = {input.minimum, input.maximum};
    def.slider = {input.slider_minimum, input.slider_maximum};
  }
  return def;
}

std::vector<InputDef> inputsOf(const VelloUnitFilter& filter) {
  std::vector<InputDef> inputs;
  if (filter.kind == VELLO_UNIT_POINT) inputs.push_back(image());
  for (int i = 0; i < filter.input_count; ++i) inputs.push_back(inputOf(filter.inputs[i]));
  return inputs;
}

}  // namespace

UnitFilter::UnitFilter(const VelloUnitFilter& filter)
    : inputs_(inputsOf(filter)),
      ops_(opsOf(filter)),
      row_(filter.name, filter.display_name, filter.categories,
           View<InputDef>{inputs_.data(), static_cast<int>(inputs_.size())}, Maker(&ops_),
           static_cast<PitchClass>(filter.pitch)) {}

}  // namespace vello
