// One kernel behind plain function pointers: what the renderers see of it. The templates in kinds.h fill it
// in.
#pragma once

#include "engine/filters/kernel.h"
#include "engine/filters/values.h"
#include "platform/instruction_set.h"

namespace vello {

class Bitmap;
struct KernelOps;

// What a kernel does, from the least power to the most; kinds.h says how each is written.
enum class Kind {
  point,      // one sample of one image
  blend,      // samples of 2 to 4 images at one place
  generate,   // nothing but the place
  warp,       // one image, moved
  taps,       // N moved samples of every image but the first, driven by a sample of the first
  zoom,       // a weighted sum of one image at several scales
  separable,  // one profile along both axes
  line,       // one profile along a direction
  area,       // a window of samples around the place
  extreme,    // the greatest or least of a window's samples
  cells,      // one sample for each square cell of a grid, from its middle
  resample,   // output and input on grids of different scale
  reduce,     // an image to a few values
  raster,     // drawn once per recipe and scale
  frame,      // foreign code on whole 8-bit images
};

// Samples of one row, one array a channel.
struct Run {
  float *r, *g, *b, *a;
  KERNEL Px get(int i) const { return {r[i], g[i], b[i], a[i]}; }
  KERNEL void set(int i, Px p) const {
    r[i] = p.r;
    g[i] = p.g;
    b[i] = p.b;
    a[i] = p.a;
  }
};

// The places of a run: x of every sample, one y, all minus the anchor.
struct Places {
  const float* x;
  float y, pitch;
  KERNEL At at(int i) const { return {x[i], y, pitch}; }
};

struct MoveRun {
  float *dx, *dy, *gain;
};

// What a kernel is given beside its values, once per render and pitch.
struct Given {
  View<CGRect> extents;   // of its images
  View<Table> tables;     // of the images it reads whole, in input order; others are empty
  const Values* reduced;  // what a reduce kernel among its inputs found, or nullptr
  double pitch = 1;
  const KernelOps* ops = nullptr;  // the kernel's own
};

// Window samples of an area kernel: (di, dj) samples to the right and upwards.
struct Window {
  const Run* rows;  // the row of the centre; its neighbours lie around it
  int i;            // the centre in each of them
  KERNEL Px operator()(int di, int dj) const { return rows[dj].get(i + di); }
};

// The loops over a run of samples, compiled for one instruction set.
struct KernelLoops {
  // point, blend, generate; `out` may be one of the inputs
  void (*run)(const void* kernel, const Run* images, Places, const Run& out, int n) = nullptr;
  // warp
  void (*moves)(const void* kernel, Places, const MoveRun& out, int n) = nullptr;
  // area; `rows` is the row of the centres, which begin at its first sample
  void (*windows)(const void* kernel, const Run* rows, const Run& out, int n) = nullptr;
};

struct EightBitFrame {
  unsigned char* rgba;  // straight alpha, sRGB-encoded, the top row first, 4 x width bytes a row
  int width, height;
};

struct KernelOps {
  Kind kind;
  int images;             // how many it takes
  int taps = 0;           // places per image
  bool straight = false;  // computes on straight colour
  bool place = false;     // reads its place
  bool stepped = false;
  unsigned tableMask = 0;   // bit i: image i is read whole, as a table
  int size = 0, align = 0;  // of the kernel object; kernels are trivially copyable
  void (*make)(void* kernel, const Values&, const Given&) = nullptr;
  CGPoint (*anchor)(const void* kernel) = nullptr;
  // Where the result may differ from transparent black.
  CGRect (*extent)(const Values&, View<CGRect> images) = nullptr;
  // True when the values make the kernel hand its first image through; nullptr: never.
  bool (*identity)(const Values&) = nullptr;
  // How often the pitch that is asked for is halved before the kernel is applied; nullptr: never.
  int (*halvings)(const Values&, double pitch) = nullptr;
  // generate: true when the values make the result transparent everywhere; nullptr: never.
  bool (*clear)(const Values&) = nullptr;
  // blend: which image the result equals when some of them are transparent everywhere; -1: none. nullptr:
  // never.
  int (*passes)(View<bool> clear) = nullptr;
  // point: what it multiplies colour by; nullptr where that is no matrix.
  ColorMatrix (*matrix)(const Values&) = nullptr;

  KernelLoops loops[kInstructionSets];
  // point, blend, generate: one sample
  Px (*sample)(const void* kernel, const Px* images, At) = nullptr;
  // warp
  Move (*move)(const void* kernel, At) = nullptr;
  float (*magnification)(const Values&) = nullptr;
  // taps: places for one driver sample; result from images x taps samples, image by image
  void (*where)(const void* kernel, At, Px driver, Move* moves) = nullptr;
  Px (*gather)(const void* kernel, At, Px driver, const Px* samples) = nullptr;
  double (*bound)(const Values&) = nullptr;  // no move is longer; longer ones are clamped to it
  // zoom
  View<ScaledCopy> (*copies)(const void* kernel) = nullptr;
  // separable, line, resample: weight at a distance (image units), how far it reaches, and the kind's own
  // extra
  double (*profile)(const void* kernel, double t) = nullptr;
  double (*reach)(const void* kernel) = nullptr;
  double (*smooth)(const void* kernel) = nullptr;  // sigma of a Gaussian, 0 for anything else
  Vec2 (*direction)(const void* kernel) = nullptr;
  Vec2 (*scale)(const void* kernel) = nullptr;
  // cells: the side of one (image units); the corners of four meet at the anchor
  double (*cell)(const void* kernel) = nullptr;
  // area
  Px (*window)(const void* kernel, const Window&) = nullptr;
  // extreme: half the window's width at a height above or below the place (image units); `reach` is its half
  // height
  double (*chord)(const void* kernel, double height) = nullptr;
  bool greatest = false;
  // reduce: the state is `size` bytes too; blocks are merged in index order
  int stateSize = 0, stateAlign = 0;
  void (*zero)(void* state) = nullptr;
  void (*add)(void* state, const Run& run, int n) = nullptr;
  void (*merge)(void* state, const void* other) = nullptr;
  void (*finish)(const void* state, Values& found) = nullptr;
  // raster: samples per image unit; frame: false when the foreign code failed
  Bitmap (*draw)(const void* kernel, double scale) = nullptr;
  bool (*frame)(const void* kernel, const EightBitFrame* images, int count, EightBitFrame& out) = nullptr;
  // What an image unit's kernel is made from; its functions are shared by all units.
  const void* unit = nullptr;
};

// kAnywhere as a bound keeps the whole input.
inline constexpr double kAnywhere = 1e300;

}  // namespace vello
