#include "engine/render/row_loops.h"

#include <cstring>

#include "engine/filters/kernel.h"

// Vectors are passed between inlined functions only.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace vello {
namespace {

template <int Bytes>
struct Lanes {
  typedef float Vector __attribute__((vector_size(Bytes)));
};

template <class V>
KERNEL V loaded(const float* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

template <class V>
KERNEL void stored(const V& v, float* p) {
  std::memcpy(p, &v, sizeof v);
}

template <class V>
constexpr int64_t kLanes = sizeof(V) / sizeof(float);  // NOLINT(bugprone-sizeof-expression): also of a float

// Samples k on, `kVectors` vectors at a time, as long as there are so many; their sums stay in registers
// while all rows are added. Returns the first sample that is left.
template <class V, int kVectors, bool kSymmetric>
KERNEL int64_t sumBlocks(const float* const* rows, const float* weights, int count, float* out, int64_t k,
                         int64_t n) {
  constexpr int64_t lanes = kLanes<V>;
  const int half = kSymmetric ? count / 2 : count;
  for (; k + kVectors * lanes <= n; k += kVectors * lanes) {
    V sums[kVectors] = {};
    for (int t = 0; t < half; ++t) {
      const float *const p = rows[t] + k, *const q = rows[count - 1 - t] + k;
      const V w = V{} + weights[t];
      for (int i = 0; i < kVectors; ++i) {
        const V added = loaded<V>(p + i * lanes);
        sums[i] += w * (kSymmetric ? added + loaded<V>(q + i * lanes) : added);
      }
    }
    for (int i = 0; i < kVectors; ++i) {
      if (kSymmetric) sums[i] += (V{} + weights[half]) * loaded<V>(rows[half] + k + i * lanes);
      stored(sums[i], out + k + i * lanes);
    }
  }
  return k;
}

// What is left of a row by wide blocks is done in ever narrower ones: rows of tiles may be short.
template <int Bytes, bool kSymmetric>
KERNEL void sumLoop(const float* const* rows, const float* weights, int count, float* out, int64_t n) {
  using Wide = typename Lanes<Bytes>::Vector;
  using Narrow = typename Lanes<16>::Vector;
  int64_t k = sumBlocks<Wide, 8, kSymmetric>(rows, weights, count, out, 0, n);
  k = sumBlocks<Wide, 2, kSymmetric>(rows, weights, count, out, k, n);
  k = sumBlocks<Wide, 1, kSymmetric>(rows, weights, count, out, k, n);
  k = sumBlocks<Narrow, 1, kSymmetric>(rows, weights, count, out, k, n);
  sumBlocks<float, 1, kSymmetric>(rows, weights, count, out, k, n);
}

template <class V, int kVectors>
KERNEL int64_t scatterBlocks(const float* in, float* const* outs, const float* weights, int count, int64_t k,
                             int64_t n) {
  constexpr int64_t lanes = kLanes<V>;
  for (; k + kVectors * lanes <= n; k += kVectors * lanes) {
    V from[kVectors];
    for (int i = 0; i < kVectors; ++i) from[i] = loaded<V>(in + k + i * lanes);
    for (int t = 0; t < count; ++t) {
      const V w = V{} + weights[t];
      for (int i = 0; i < kVectors; ++i) {
        float* const out = outs[t] + k + i * lanes;
        stored(loaded<V>(out) + w * from[i], out);
      }
    }
  }
  return k;
}

template <int Bytes>
KERNEL void scatterLoop(const float* in, float* const* outs, const float* weights, int count, int64_t n) {
  using Wide = typename Lanes<Bytes>::Vector;
  using Narrow = typename Lanes<16>::Vector;
  int64_t k = scatterBlocks<Wide, 4>(in, outs, weights, count, 0, n);
  k = scatterBlocks<Wide, 1>(in, outs, weights, count, k, n);
  k = scatterBlocks<Narrow, 1>(in, outs, weights, count, k, n);
  scatterBlocks<float, 1>(in, outs, weights, count, k, n);
}

template <class F>
KERNEL void foldLoop(const float* a, const float* b, float* out, int64_t n, F fold) {
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) out[k] = fold(a[k], b[k]);
}

KERNEL void addLoop(const float* a, const float* b, float* out, int64_t n) {
  foldLoop(
      a, b, out, n, [](float p, float q) __attribute__((always_inline)) { return p + q; });
}

KERNEL void leastLoop(const float* a, const float* b, float* out, int64_t n) {
  foldLoop(
      a, b, out, n, [](float p, float q) __attribute__((always_inline)) { return min(p, q); });
}

KERNEL void greatestLoop(const float* a, const float* b, float* out, int64_t n) {
  foldLoop(
      a, b, out, n, [](float p, float q) __attribute__((always_inline)) { return max(p, q); });
}

// So many vectors of a chord stay in registers while it joins its rows. Returns how far it got.
template <class V, int Vectors, class F>
KERNEL int64_t joinBlocks(const Chord* chords, int count, float* const* rows, int64_t offset, int64_t from,
                          int64_t n, F fold) {
  constexpr int64_t lanes = kLanes<V>, block = Vectors * lanes;
  int64_t k = from;
  for (; k + block <= n; k += block) {
    float* const* row = rows;
    for (int c = 0; c < count; ++c) {
      V found[Vectors];
#pragma GCC unroll 4
      for (int v = 0; v < Vectors; ++v)
        found[v] = fold(loaded<V>(chords[c].a + k + v * lanes), loaded<V>(chords[c].b + k + v * lanes));
      for (float* const* end = row + chords[c].rows; row != end; ++row) {
        float* out = *row + offset + k;
#pragma GCC unroll 4
        for (int v = 0; v < Vectors; ++v) stored(fold(loaded<V>(out + v * lanes), found[v]), out + v * lanes);
      }
    }
  }
  return k;
}

template <int Bytes, class F>
KERNEL void joinLoop(const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n, F fold) {
  using Wide = typename Lanes<Bytes>::Vector;
  using Narrow = typename Lanes<16>::Vector;
  int64_t k = joinBlocks<Wide, 4>(chords, count, rows, offset, 0, n, fold);
  k = joinBlocks<Wide, 1>(chords, count, rows, offset, k, n, fold);
  k = joinBlocks<Narrow, 1>(chords, count, rows, offset, k, n, fold);
  joinBlocks<float, 1>(chords, count, rows, offset, k, n, fold);
}

template <int Bytes>
KERNEL void joinLeastLoop(const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n) {
  joinLoop<Bytes>(
      chords, count, rows, offset, n,
      [](auto p, auto q) __attribute__((always_inline)) { return p < q ? p : q; });
}

template <int Bytes>
KERNEL void joinGreatestLoop(const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n) {
  joinLoop<Bytes>(
      chords, count, rows, offset, n,
      [](auto p, auto q) __attribute__((always_inline)) { return p > q ? p : q; });
}

KERNEL void snapLoop(float* a, int64_t n) {
  constexpr float rounding = 1.0f / (1 << 18);
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) {
    const float difference = a[k] - 1.0f;
    const bool near = difference < rounding && -difference < rounding;
    a[k] = select(near, 1.0f, a[k]);
  }
}

KERNEL bool allOnesLoop(const float* a, int64_t n) {
  int others = 0;
  for (int64_t k = 0; k < n; ++k) others |= a[k] != 1.0f;
  return others == 0;
}

KERNEL void divideLoop(float* c, const float* by, int64_t n) {
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) c[k] /= select(by[k] == 0.0f, 1.0f, by[k]);
}

KERNEL void multiplyLoop(float* c, const float* by, int64_t n) {
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) c[k] *= by[k];
}

KERNEL double placeOf(const RowPlaces& row, int k) {
  return row.origin + ((row.first + static_cast<double>(k)) + 0.5) * row.pitch;
}

KERNEL void placesLoop(const RowPlaces& places, double anchor, float* x, int n) {
  const RowPlaces row = places;
  VELLO_INDEPENDENT_LOOP
  for (int k = 0; k < n; ++k) x[k] = static_cast<float>(placeOf(row, k) - anchor);
}

// Adding and taking away 3 * 2^51 rounds to a whole number; beyond 2^51 there is nothing to round.
KERNEL double nearest(double v) {
  const double limited = v < 1e15 ? (v > -1e15 ? v : -1e15) : 1e15;
  return (limited + 6755399441055744.0) - 6755399441055744.0;
}

KERNEL double floorOf(double v) {
  const double near = nearest(v);
  return near > v ? near - 1.0 : near;
}

// Places this close to a sample are the sample: what rounding moved is brought back.
KERNEL double snapped(double u) {
  const double near = nearest(u), difference = u - near;
  return difference < 1e-5 && -difference < 1e-5 ? near : u;
}

template <bool Moved>
KERNEL void gridPlacesOf(const GridMap& m, double* u, double* v, int n) {
  VELLO_INDEPENDENT_LOOP
  for (int k = 0; k < n; ++k) {
    double x = placeOf(m.x, k), y = m.y;
    if (Moved) {
      x += static_cast<double>(m.dx[k]);
      y += static_cast<double>(m.dy[k]);
    }
    u[k] = snapped(m.a * x + m.c * y + m.tx);
    v[k] = snapped(m.b * x + m.d * y + m.ty);
  }
}

KERNEL void gridPlacesLoop(const GridMap& map, double* u, double* v, int n) {
  const GridMap m = map;
  if (m.dx) {
    gridPlacesOf<true>(m, u, v, n);
  } else {
    gridPlacesOf<false>(m, u, v, n);
  }
}

KERNEL double limited(double v, double low, double high) { return v > low ? (v < high ? v : high) : low; }

// Each of some lanes has bounds of its own, since compilers do not find the smallest double with vectors.
KERNEL void gridBoundsLoop(const double* u, const double* v, const GridBounds& limits, bool open,
                           GridBounds& bounds, int n) {
  constexpr int lanes = 32;
  const GridBounds l = limits;
  double u0[lanes], v0[lanes], u1[lanes], v1[lanes];
  for (int i = 0; i < lanes; ++i) u0[i] = bounds.u0, v0[i] = bounds.v0, u1[i] = bounds.u1, v1[i] = bounds.v1;
  for (int k = 0; k < n; k += lanes) {
    const int count = n - k < lanes ? n - k : lanes;
    const double *const x = u + k, *const y = v + k;
    VELLO_INDEPENDENT_LOOP
    for (int i = 0; i < count; ++i) {
      const bool counts = ((x[i] > l.u0) & (x[i] < l.u1) & (y[i] > l.v0) & (y[i] < l.v1)) | !open;
      const double nearX = limited(x[i], l.u0, l.u1), nearY = limited(y[i], l.v0, l.v1);
      u0[i] = (counts & (nearX < u0[i])) ? nearX : u0[i];
      v0[i] = (counts & (nearY < v0[i])) ? nearY : v0[i];
      u1[i] = (counts & (nearX > u1[i])) ? nearX : u1[i];
      v1[i] = (counts & (nearY > v1[i])) ? nearY : v1[i];
    }
  }
  for (int i = 0; i < lanes; ++i) {
    bounds.u0 = u0[i] < bounds.u0 ? u0[i] : bounds.u0;
    bounds.v0 = v0[i] < bounds.v0 ? v0[i] : bounds.v0;
    bounds.u1 = u1[i] > bounds.u1 ? u1[i] : bounds.u1;
    bounds.v1 = v1[i] > bounds.v1 ? v1[i] : bounds.v1;
  }
}

KERNEL void gridTapsLoop(const double* u, const double* v, const GridFrame& frame, const GridTaps& out,
                         int n) {
  const GridFrame f = frame;
  const GridTaps to = out;
  const double x0 = static_cast<double>(f.x0), y0 = static_cast<double>(f.y0);
  const double stride = static_cast<double>(f.stride);
  VELLO_INDEPENDENT_LOOP
  for (int k = 0; k < n; ++k) {
    const bool within = (u[k] > f.lowU) & (u[k] < f.highU) & (v[k] > f.lowV) & (v[k] < f.highV);
    const double pu = limited(u[k], f.lowU, f.highU), pv = limited(v[k], f.lowV, f.highV);
    // Never beyond the grid, whatever the place is.
    const double fu = limited(floorOf(pu), x0, f.lastI), fv = limited(floorOf(pv), y0, f.lastJ);
    const bool reads = within | !f.open;
    to.s[k] = static_cast<float>(pu - fu);
    to.t[k] = static_cast<float>(pv - fv);
    to.inside[k] = reads ? 1.0f : 0.0f;
    to.offset[k] = static_cast<int32_t>(reads ? (fv - y0) * stride + (fu - x0) : 0.0);
  }
}

typedef float Sample __attribute__((vector_size(16)));

KERNEL Sample between(Sample a, Sample b, float t) { return t == 0 ? a : a + (b - a) * t; }

KERNEL void interpolateLoop(const float* grid, int64_t stride, const GridTaps& taps, float* const* out,
                            int n) {
  float *const r = out[0], *const g = out[1], *const b = out[2], *const a = out[3];
  for (int k = 0; k < n; ++k) {
    const float* p = grid + int64_t{4} * taps.offset[k];
    const float s = taps.s[k], t = taps.t[k];
    const Sample below = between(loaded<Sample>(p), loaded<Sample>(p + 4), s);
    const Sample above = between(loaded<Sample>(p + 4 * stride), loaded<Sample>(p + 4 * stride + 4), s);
    Sample result = between(below, above, t);
    if (taps.inside[k] == 0) result = Sample{};
    r[k] = result[0], g[k] = result[1], b[k] = result[2], a[k] = result[3];
  }
}

KERNEL void interleaveLoop(const float* const* planes, float* out, int64_t n) {
  const float *const r = planes[0], *const g = planes[1], *const b = planes[2], *const a = planes[3];
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) {
    out[4 * k] = r[k];
    out[4 * k + 1] = g[k];
    out[4 * k + 2] = b[k];
    out[4 * k + 3] = a[k];
  }
}

KERNEL void addBetweenLoop(const GridRows& rows, const int32_t* offset, const float* s, float* sums, int n) {
  const GridRows r = rows;
  for (int k = 0; k < n; ++k) {
    const float *p = r.below + int64_t{4} * offset[k], *q = r.above + int64_t{4} * offset[k];
    const Sample below = between(loaded<Sample>(p), loaded<Sample>(p + 4), s[k]);
    const Sample above = between(loaded<Sample>(q), loaded<Sample>(q + 4), s[k]);
    float* const sum = sums + int64_t{4} * k;
    stored(loaded<Sample>(sum) + between(below, above, r.t) * r.weight, sum);
  }
}

KERNEL void separateLoop(const float* in, float* const* planes, int64_t n) {
  float *const r = planes[0], *const g = planes[1], *const b = planes[2], *const a = planes[3];
  VELLO_INDEPENDENT_LOOP
  for (int64_t k = 0; k < n; ++k) {
    r[k] = in[4 * k];
    g[k] = in[4 * k + 1];
    b[k] = in[4 * k + 2];
    a[k] = in[4 * k + 3];
  }
}

// One function of the table, for one instruction set.
#define VELLO_ROW_LOOP(target, result, name, loop, parameters, arguments) \
  target static result name parameters { return loop arguments; }

#define VELLO_ROW_LOOPS(target, bytes)                                                                     \
  VELLO_ROW_LOOP(target, void, weightedSum, (sumLoop<bytes, false>),                                       \
                 (const float* const* rows, const float* weights, int count, float* out, int64_t n),       \
                 (rows, weights, count, out, n))                                                           \
  VELLO_ROW_LOOP(target, void, symmetricSum, (sumLoop<bytes, true>),                                       \
                 (const float* const* rows, const float* weights, int count, float* out, int64_t n),       \
                 (rows, weights, count, out, n))                                                           \
  VELLO_ROW_LOOP(target, void, scatter, (scatterLoop<bytes>),                                              \
                 (const float* in, float* const* outs, const float* weights, int count, int64_t n),        \
                 (in, outs, weights, count, n))                                                            \
  VELLO_ROW_LOOP(target, void, add, addLoop, (const float* a, const float* b, float* out, int64_t n),      \
                 (a, b, out, n))                                                                           \
  VELLO_ROW_LOOP(target, void, least, leastLoop, (const float* a, const float* b, float* out, int64_t n),  \
                 (a, b, out, n))                                                                           \
  VELLO_ROW_LOOP(target, void, greatest, greatestLoop,                                                     \
                 (const float* a, const float* b, float* out, int64_t n), (a, b, out, n))                  \
  VELLO_ROW_LOOP(target, void, joinLeast, joinLeastLoop<bytes>,                                            \
                 (const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n),          \
                 (chords, count, rows, offset, n))                                                         \
  VELLO_ROW_LOOP(target, void, joinGreatest, joinGreatestLoop<bytes>,                                      \
                 (const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n),          \
                 (chords, count, rows, offset, n))                                                         \
  VELLO_ROW_LOOP(target, void, snapToOne, snapLoop, (float* a, int64_t n), (a, n))                         \
  VELLO_ROW_LOOP(target, bool, allOnes, allOnesLoop, (const float* a, int64_t n), (a, n))                  \
  VELLO_ROW_LOOP(target, void, divide, divideLoop, (float* c, const float* by, int64_t n), (c, by, n))     \
  VELLO_ROW_LOOP(target, void, multiply, multiplyLoop, (float* c, const float* by, int64_t n), (c, by, n)) \
  VELLO_ROW_LOOP(target, void, places, placesLoop, (const RowPlaces& row, double anchor, float* x, int n), \
                 (row, anchor, x, n))                                                                      \
  VELLO_ROW_LOOP(target, void, gridPlaces, gridPlacesLoop,                                                 \
                 (const GridMap& map, double* u, double* v, int n), (map, u, v, n))                        \
  VELLO_ROW_LOOP(                                                                                          \
      target, void, gridBounds, gridBoundsLoop,                                                            \
      (const double* u, const double* v, const GridBounds& limits, bool open, GridBounds& bounds, int n),  \
      (u, v, limits, open, bounds, n))                                                                     \
  VELLO_ROW_LOOP(target, void, gridTaps, gridTapsLoop,                                                     \
                 (const double* u, const double* v, const GridFrame& frame, const GridTaps& out, int n),   \
                 (u, v, frame, out, n))                                                                    \
  VELLO_ROW_LOOP(target, void, interpolate, interpolateLoop,                                               \
                 (const float* grid, int64_t stride, const GridTaps& taps, float* const* out, int n),      \
                 (grid, stride, taps, out, n))                                                             \
  VELLO_ROW_LOOP(target, void, addBetween, addBetweenLoop,                                                 \
                 (const GridRows& rows, const int32_t* offset, const float* s, float* sums, int n),        \
                 (rows, offset, s, sums, n))                                                               \
  VELLO_ROW_LOOP(target, void, interleave, interleaveLoop,                                                 \
                 (const float* const* planes, float* out, int64_t n), (planes, out, n))                    \
  VELLO_ROW_LOOP(target, void, separate, separateLoop, (const float* in, float* const* planes, int64_t n), \
                 (in, planes, n))                                                                          \
  constexpr RowLoops kLoops{weightedSum, symmetricSum, scatter,      add,        least,                    \
                            greatest,    joinLeast,    joinGreatest, snapToOne,  allOnes,                  \
                            divide,      multiply,     places,       gridPlaces, gridBounds,               \
                            gridTaps,    interpolate,  addBetween,   interleave, separate};

namespace baseline {
VELLO_ROW_LOOPS(, 16)
}
namespace v3 {
VELLO_ROW_LOOPS(VELLO_V3, 32)
}
namespace v4 {
VELLO_ROW_LOOPS(VELLO_V4, 64)
}

}  // namespace

const RowLoops& rowLoops(InstructionSet set) {
  return compiledFor(set, baseline::kLoops, v3::kLoops, v4::kLoops);
}

}  // namespace vello
