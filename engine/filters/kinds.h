// The kernel kinds: what a kernel struct must offer for each, and the loops that run it.
//
// Every kernel K:
//   explicit K(const Values&[, const Given&])    once per render and pitch; may use libm, in double
//
// Optional, of any kernel:
//   static CGRect extent(const Values&, View<CGRect>)
//       else the first image's extent; blend: the union of all; generate: everywhere
//   static bool identity(const Values&)          the values hand the first image through
//   CGPoint anchor() const                       where its places count from
//   static constexpr bool kStraight = true       colours come and go straight (unpremultiplied)
//   static constexpr int kHalvings, or static int halvings(const Values&, double pitch)
//       see kernel.h
//
// By kind; images stand in the order of the filter's image inputs:
//   point      Px operator()(Px[, At]) const
//              static ColorMatrix matrix(const Values&), optional: it is linear, neighbours become one matrix
//   blend      Px operator()(Px, Px[, Px, Px][, At]) const
//              static int passes(View<bool> clear), optional: the image the result equals when some are clear
//   generate   Px operator()(At) const
//              static bool clear(const Values&), optional: the values make it transparent everywhere
//   warp       Move operator()(At) const
//              static float magnification(const Values&), optional
//   taps       Many<Move, N> where(At, Px driver) const
//              Px operator()(At, Px driver, const Many<Px, N>&...) const, one Many per image after the first
//              static double bound(const Values&)
//   zoom       View<ScaledCopy> copies() const, around the anchor
//   separable  double profile(double t) const; double reach() const; double smooth() const, optional
//   line       profile, reach, Vec2 direction() const
//   area       Px operator()(const W&) const, a template over the window; double reach() const
//   extreme    double reach() const, half the height of its window
//              double chord(double height) const, half the width there, which does not grow with the height
//              static constexpr bool kGreatest
//   cells      double cell() const, the side of a square; the corners of four meet at the anchor
//   resample   profile, reach, Vec2 scale() const
//   reduce     all static: State zero(), add(State&, const Run&, int), merge(State&, const State&),
//              finish(const State&, Values&)
//   raster     Bitmap draw(double scale) const
//   frame      bool run(const EightBitFrame*, int, EightBitFrame&) const
//   compose    CIImage operator()(const Values&) const, built from other filters
#pragma once

#include <new>

#include "engine/filters/kernel_ops.h"
#include "engine/image/extent.h"
#include "platform/bitmap.h"

namespace vello {
namespace kinds {

template <class K>
void make(void* at, const Values& v, const Given& g) {
  if constexpr (requires { K(v, g); }) {
    new (at) K(v, g);
  } else {
    new (at) K(v);
  }
}

template <class K>
const K& as(const void* kernel) {
  return *static_cast<const K*>(kernel);
}

template <class K>
CGPoint anchor(const void* kernel) {
  if constexpr (requires { as<K>(kernel).anchor(); }) return as<K>(kernel).anchor();
  return {};
}

inline CGRect firstExtent(const Values&, View<CGRect> images) { return images.count ? images[0] : CGRect{}; }
inline CGRect allExtents(const Values&, View<CGRect> images) {
  CGRect all{};
  for (const CGRect& r : images) all = unionOf(all, r);
  return all;
}
inline CGRect everywhere(const Values&, View<CGRect>) { return kInfiniteExtent; }

template <class K>
constexpr KernelOps common(Kind kind, int images, CGRect (*extent)(const Values&, View<CGRect>)) {
  KernelOps ops{};
  ops.kind = kind;
  ops.images = images;
  ops.size = sizeof(K);
  ops.align = alignof(K);
  ops.make = make<K>;
  ops.anchor = anchor<K>;
  ops.extent = extent;
  if constexpr (requires { &K::extent; }) ops.extent = K::extent;
  if constexpr (requires { &K::identity; }) ops.identity = K::identity;
  if constexpr (requires { &K::clear; }) ops.clear = K::clear;
  if constexpr (requires { &K::passes; }) ops.passes = K::passes;
  if constexpr (requires { &K::matrix; }) ops.matrix = K::matrix;
  if constexpr (requires { K::kStraight; }) ops.straight = K::kStraight;
  if constexpr (requires { K::kStepped; }) ops.stepped = K::kStepped;
  if constexpr (requires { K::kHalvings; }) ops.halvings = [](const Values&, double) { return K::kHalvings; };
  if constexpr (requires { &K::halvings; }) ops.halvings = K::halvings;
  if constexpr (requires { K::kTables; }) ops.tableMask = K::kTables;
  return ops;
}

template <class K, int N>
constexpr bool readsPlace() {
  const auto callable = [](auto... p) {
    return requires(const K& k, At at) { k(p..., at); };
  };
  if constexpr (N == 0) return true;
  if constexpr (N == 1) return callable(Px{});
  if constexpr (N == 2) return callable(Px{}, Px{});
  if constexpr (N == 3) return callable(Px{}, Px{}, Px{});
  return callable(Px{}, Px{}, Px{}, Px{});
}

template <class K, int N, class Fetch>
KERNEL Px call(const K& k, Fetch in, At at) {
  constexpr bool p = readsPlace<K, N>();
  if constexpr (N == 0) return k(at);
  if constexpr (N == 1 && p) return k(in(0), at);
  if constexpr (N == 1 && !p) return k(in(0));
  if constexpr (N == 2 && p) return k(in(0), in(1), at);
  if constexpr (N == 2 && !p) return k(in(0), in(1));
  if constexpr (N == 3 && p) return k(in(0), in(1), in(2), at);
  if constexpr (N == 3 && !p) return k(in(0), in(1), in(2));
  if constexpr (N == 4 && p) return k(in(0), in(1), in(2), in(3), at);
  if constexpr (N == 4 && !p) return k(in(0), in(1), in(2), in(3));
}

template <class K, int N>
Px sample(const void* kernel, const Px* images, At at) {
  return call<K, N>(
      as<K>(kernel), [images](int i) { return images[i]; }, at);
}

template <class K, int N>
KERNEL void runLoop(const void* kernel, const Run* images, Places places, const Run& out, int n) {
  const K k = as<K>(kernel);
  Run in[N > 0 ? N : 1];
  for (int image = 0; image < N; ++image) in[image] = images[image];
  float *const r = out.r, *const g = out.g, *const b = out.b, *const a = out.a;
  // A sample depends on samples of its own index alone, also where `out` is an input.
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    const Px p = call<K, N>(
        k, [&in, i ](int image) __attribute__((always_inline)) { return in[image].get(i); }, places.at(i));
    r[i] = p.r;
    g[i] = p.g;
    b[i] = p.b;
    a[i] = p.a;
  }
}

// The same loop for every instruction set.
// NOLINTBEGIN(bugprone-macro-parentheses): names, not values
#define VELLO_LOOP(name, target, loop, parameters, arguments) \
  template <class K, int N>                                   \
  target void name parameters {                               \
    loop<K, N> arguments;                                     \
  }
// NOLINTEND(bugprone-macro-parentheses)
#define VELLO_LOOPS(name, loop, parameters, arguments)        \
  VELLO_LOOP(name, , loop, parameters, arguments)             \
  VELLO_LOOP(name##V3, VELLO_V3, loop, parameters, arguments) \
  VELLO_LOOP(name##V4, VELLO_V4, loop, parameters, arguments)

VELLO_LOOPS(run, runLoop, (const void* kernel, const Run* images, Places places, const Run& out, int n),
            (kernel, images, places, out, n))

template <class K, int N>
constexpr KernelOps colour(Kind kind, CGRect (*extent)(const Values&, View<CGRect>)) {
  KernelOps ops = common<K>(kind, N, extent);
  ops.place = readsPlace<K, N>();
  ops.sample = sample<K, N>;
  ops.loops[0].run = run<K, N>;
  ops.loops[1].run = runV3<K, N>;
  ops.loops[2].run = runV4<K, N>;
  return ops;
}

template <class K, int N>
KERNEL void moveLoop(const void* kernel, Places places, const MoveRun& out, int n) {
  const K k = as<K>(kernel);
  float *const dx = out.dx, *const dy = out.dy, *const gain = out.gain;
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    const Move m = k(places.at(i));
    dx[i] = m.dx;
    dy[i] = m.dy;
    gain[i] = m.gain;
  }
}

VELLO_LOOPS(moves, moveLoop, (const void* kernel, Places places, const MoveRun& out, int n),
            (kernel, places, out, n))

template <class K, int N>
KERNEL void windowLoop(const void* kernel, const Run* rows, const Run& out, int n) {
  const K k = as<K>(kernel);
  float *const r = out.r, *const g = out.g, *const b = out.b, *const a = out.a;
  VELLO_INDEPENDENT_LOOP
  for (int i = 0; i < n; ++i) {
    const Px p = k(Window{rows, i});
    r[i] = p.r;
    g[i] = p.g;
    b[i] = p.b;
    a[i] = p.a;
  }
}

VELLO_LOOPS(windows, windowLoop, (const void* kernel, const Run* rows, const Run& out, int n),
            (kernel, rows, out, n))

template <class K, int N>
constexpr KernelOps kPoint = colour<K, N>(Kind::point, firstExtent);
template <class K, int N>
constexpr KernelOps kBlend = colour<K, N>(Kind::blend, allExtents);
template <class K>
constexpr KernelOps kGenerate = colour<K, 0>(Kind::generate, everywhere);

template <class K>
constexpr KernelOps makeWarp() {
  KernelOps ops = common<K>(Kind::warp, 1, firstExtent);
  ops.place = true;
  ops.move = [](const void* kernel, At at) { return as<K>(kernel)(at); };
  ops.loops[0].moves = moves<K, 1>;
  ops.loops[1].moves = movesV3<K, 1>;
  ops.loops[2].moves = movesV4<K, 1>;
  if constexpr (requires { &K::magnification; }) ops.magnification = K::magnification;
  return ops;
}

template <class K, int N, int Images>
constexpr KernelOps makeTaps() {
  KernelOps ops = common<K>(Kind::taps, Images, allExtents);
  ops.place = true;
  ops.taps = N;
  ops.bound = K::bound;
  ops.where = [](const void* kernel, At at, Px driver, Move* moves) {
    const Many<Move, N> places = as<K>(kernel).where(at, driver);
    for (int i = 0; i < N; ++i) moves[i] = places[i];
  };
  ops.gather = [](const void* kernel, At at, Px driver, const Px* samples) {
    const auto many = [samples](int image) {
      Many<Px, N> m;
      for (int i = 0; i < N; ++i) m[i] = samples[image * N + i];
      return m;
    };
    const K& k = as<K>(kernel);
    if constexpr (Images == 2) return k(at, driver, many(0));
    if constexpr (Images == 3) return k(at, driver, many(0), many(1));
    if constexpr (Images == 4) return k(at, driver, many(0), many(1), many(2));
  };
  return ops;
}

template <class K>
constexpr KernelOps makeZoom() {
  KernelOps ops = common<K>(Kind::zoom, 1, firstExtent);
  if constexpr (requires { &K::magnification; }) ops.magnification = K::magnification;
  ops.copies = [](const void* kernel) -> View<ScaledCopy> { return as<K>(kernel).copies(); };
  return ops;
}

template <class K>
constexpr KernelOps makeCells() {
  KernelOps ops = common<K>(Kind::cells, 1, firstExtent);
  ops.cell = [](const void* kernel) -> double { return as<K>(kernel).cell(); };
  return ops;
}

template <class K>
constexpr void addProfile(KernelOps& ops) {
  if constexpr (requires(const K& k) { k.profile(0.0); })
    ops.profile = [](const void* kernel, double t) { return as<K>(kernel).profile(t); };
  ops.reach = [](const void* kernel) -> double { return as<K>(kernel).reach(); };
  if constexpr (requires(const K& k) { k.smooth(); })
    ops.smooth = [](const void* kernel) -> double { return as<K>(kernel).smooth(); };
  if constexpr (requires(const K& k) { k.direction(); })
    ops.direction = [](const void* kernel) { return as<K>(kernel).direction(); };
  if constexpr (requires(const K& k) { k.scale(); })
    ops.scale = [](const void* kernel) { return as<K>(kernel).scale(); };
}

template <class K>
constexpr KernelOps makeProfile(Kind kind) {
  KernelOps ops = common<K>(kind, 1, firstExtent);
  addProfile<K>(ops);
  return ops;
}

template <class K>
constexpr KernelOps makeArea() {
  KernelOps ops = common<K>(Kind::area, 1, firstExtent);
  addProfile<K>(ops);
  ops.window = [](const void* kernel, const Window& w) { return as<K>(kernel)(w); };
  ops.loops[0].windows = windows<K, 1>;
  ops.loops[1].windows = windowsV3<K, 1>;
  ops.loops[2].windows = windowsV4<K, 1>;
  return ops;
}

template <class K>
constexpr KernelOps makeExtreme() {
  KernelOps ops = makeProfile<K>(Kind::extreme);
  ops.chord = [](const void* kernel, double height) -> double { return as<K>(kernel).chord(height); };
  ops.greatest = K::kGreatest;
  return ops;
}

template <class K>
constexpr KernelOps makeReduce() {
  using State = decltype(K::zero());
  KernelOps ops = common<K>(Kind::reduce, 1, firstExtent);
  ops.stateSize = sizeof(State);
  ops.stateAlign = alignof(State);
  ops.zero = [](void* state) { new (state) State(K::zero()); };
  ops.add = [](void* state, const Run& r, int n) { K::add(*static_cast<State*>(state), r, n); };
  ops.merge = [](void* state, const void* other) {
    K::merge(*static_cast<State*>(state), *static_cast<const State*>(other));
  };
  ops.finish = [](const void* state, Values& found) { K::finish(*static_cast<const State*>(state), found); };
  return ops;
}

template <class K>
constexpr KernelOps makeRaster() {
  KernelOps ops = common<K>(Kind::raster, 0, firstExtent);
  ops.draw = [](const void* kernel, double scale) { return as<K>(kernel).draw(scale); };
  return ops;
}

template <class K>
constexpr KernelOps makeFrame(int images) {
  KernelOps ops = common<K>(Kind::frame, images, firstExtent);
  ops.frame = [](const void* kernel, const EightBitFrame* in, int count, EightBitFrame& out) {
    return as<K>(kernel).run(in, count, out);
  };
  return ops;
}

template <class K>
inline constexpr KernelOps kWarp = makeWarp<K>();
template <class K, int N, int Images>
inline constexpr KernelOps kTaps = makeTaps<K, N, Images>();
template <class K>
inline constexpr KernelOps kZoom = makeZoom<K>();
template <class K>
inline constexpr KernelOps kCells = makeCells<K>();
template <class K, Kind Of>
inline constexpr KernelOps kProfile = makeProfile<K>(Of);
template <class K>
inline constexpr KernelOps kArea = makeArea<K>();
template <class K>
inline constexpr KernelOps kExtreme = makeExtreme<K>();
template <class K>
inline constexpr KernelOps kReduce = makeReduce<K>();
template <class K>
inline constexpr KernelOps kRaster = makeRaster<K>();
template <class K, int Images>
inline constexpr KernelOps kFrame = makeFrame<K>(Images);

#undef VELLO_LOOPS
#undef VELLO_LOOP

}  // namespace kinds

// The rows' last column. Images is the number of image inputs.
template <class K, int Images = 1>
constexpr const KernelOps* point() {
  return &kinds::kPoint<K, Images>;
}
template <class K, int Images = 2>
constexpr const KernelOps* blend() {
  return &kinds::kBlend<K, Images>;
}
template <class K>
constexpr const KernelOps* generate() {
  return &kinds::kGenerate<K>;
}
template <class K>
constexpr const KernelOps* warp() {
  return &kinds::kWarp<K>;
}
template <class K, int N, int Images = 2>
constexpr const KernelOps* taps() {
  return &kinds::kTaps<K, N, Images>;
}
template <class K>
constexpr const KernelOps* zoom() {
  return &kinds::kZoom<K>;
}
template <class K>
constexpr const KernelOps* cells() {
  return &kinds::kCells<K>;
}
template <class K>
constexpr const KernelOps* separable() {
  return &kinds::kProfile<K, Kind::separable>;
}
template <class K>
constexpr const KernelOps* line() {
  return &kinds::kProfile<K, Kind::line>;
}
template <class K>
constexpr const KernelOps* area() {
  return &kinds::kArea<K>;
}
template <class K>
constexpr const KernelOps* extreme() {
  return &kinds::kExtreme<K>;
}
template <class K>
constexpr const KernelOps* resample() {
  return &kinds::kProfile<K, Kind::resample>;
}
template <class K>
constexpr const KernelOps* reduce() {
  return &kinds::kReduce<K>;
}
template <class K>
constexpr const KernelOps* raster() {
  return &kinds::kRaster<K>;
}
template <class K, int Images = 1>
constexpr const KernelOps* frame() {
  return &kinds::kFrame<K, Images>;
}

}  // namespace vello
