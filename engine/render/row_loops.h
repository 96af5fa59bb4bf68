// The renderer's own inner loops, compiled for every instruction set. All give the same bits.
#pragma once

#include <cstdint>

#include "platform/instruction_set.h"

namespace vello {

// The places along a row: sample k has its centre at origin + (first + k + 1/2) * pitch. Counted from
// absolute indices, in double, so that they do not depend on where a run begins.
struct RowPlaces {
  double origin, first, pitch;
};

// From the samples of a run to grid coordinates: image place (x + dx[k], y + dy[k]), then the affine map. dx
// and dy may be null.
struct GridMap {
  RowPlaces x;
  double y;
  const float *dx, *dy;
  double a, b, c, d, tx, ty;
};

// The least and greatest of places, of those within low and high.
struct GridBounds {
  double u0, v0, u1, v1;
};

// What is read around grid coordinates: the lower left of four samples of an interleaved grid, and how far
// beyond it the place lies. `inside` is 0 where nothing is read.
struct GridTaps {
  int32_t* offset;
  float *s, *t;
  float* inside;
};

// An interleaved grid: sample (i, j) lies at (j - y0) * stride + (i - x0), and has neighbours on all sides
// where u and v are within low and high (exclusive where `open`).
struct GridFrame {
  double lowU, highU, lowV, highV;
  bool open;
  double lastI, lastJ;  // of samples that have neighbours above and to the right
  int64_t x0, y0, stride;
};

// Two neighbouring rows of an interleaved grid.
struct GridRows {
  const float *below, *above;
  float t, weight;
};

// A chord of a window: its extremes are those of a[k] and b[k]. They join so many rows.
struct Chord {
  const float *a, *b;
  int rows;
};

struct RowLoops {
  // out[k] = sum of weights[t] * rows[t][k], added in order.
  void (*weightedSum)(const float* const* rows, const float* weights, int count, float* out, int64_t n);
  // The same with equal weights at both ends and inwards; count is odd.
  void (*symmetricSum)(const float* const* rows, const float* weights, int count, float* out, int64_t n);
  // outs[t][k] += weights[t] * in[k]
  void (*scatter)(const float* in, float* const* outs, const float* weights, int count, int64_t n);
  // out[k] = the sum, the lesser, the greater of a[k] and b[k]. `out` may be one of them, and where it is a,
  // b may lie further on in the same row.
  using Fold = void (*)(const float* a, const float* b, float* out, int64_t n);
  Fold add, least, greatest;
  // out[offset + k] = the lesser, the greater of it and the extremes of each chord in turn, for the rows that
  // the chord joins. No row overlaps a chord.
  using Join = void (*)(const Chord* chords, int count, float* const* rows, int64_t offset, int64_t n);
  Join joinLeast, joinGreatest;
  // What differs from 1 by rounding only is 1.
  void (*snapToOne)(float* a, int64_t n);
  bool (*allOnes)(const float* a, int64_t n);
  void (*divide)(float* c, const float* by, int64_t n);  // by 1 where `by` is 0
  void (*multiply)(float* c, const float* by, int64_t n);
  void (*places)(const RowPlaces& row, double anchor, float* x, int n);
  void (*gridPlaces)(const GridMap& map, double* u, double* v, int n);
  // Widens `bounds`. Where `open`, places outside the limits do not count; else the nearest within counts.
  void (*gridBounds)(const double* u, const double* v, const GridBounds& limits, bool open,
                     GridBounds& bounds, int n);
  void (*gridTaps)(const double* u, const double* v, const GridFrame& frame, const GridTaps& out, int n);
  // Bilinear, in place of the four samples at each offset; planar results.
  void (*interpolate)(const float* grid, int64_t stride, const GridTaps& taps, float* const* out, int n);
  // Adds weight times what lies between two rows of an interleaved grid, t above the lower one, to
  // interleaved sums. Sample k lies s[k] beyond the one at offset[k].
  void (*addBetween)(const GridRows& rows, const int32_t* offset, const float* s, float* sums, int n);
  void (*interleave)(const float* const* planes, float* out, int64_t n);
  void (*separate)(const float* in, float* const* planes, int64_t n);
};

const RowLoops& rowLoops(InstructionSet set);

}  // namespace vello
