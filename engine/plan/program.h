// A program: the steps that compute one recipe on one lattice, inputs before their users. What several
// branches share is one step; what can be known before the first sample is computed (kernels, tables, drawn
// pictures) is known here. Immutable once built, shared by all threads of a render.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/filters/kernel_ops.h"
#include "engine/image/node.h"
#include "engine/plan/axis_stage.h"
#include "engine/render/buffer.h"
#include "engine/render/kept_samples.h"
#include "engine/render/lattice.h"
#include "engine/render/sample_store.h"
#include "engine/render/texel_source.h"

namespace vello {

// An edge along which samples are interpolated: from another step's samples, or straight from a bitmap's
// texels. Those of full size are interpolated in their encoded form, means of several as the light they are.
struct GridEdge {
  int step = -1;                        // or, when negative:
  const TexelSource* source = nullptr;  // whose texels of `level` are read
  int level = 0;
  CGAffineTransform
      toGrid;       // image place to grid coordinates, in which sample (i, j) has its centre at (i, j)
  IndexRect valid;  // samples beyond it are transparent, or the nearest one when `clamp` is set
  bool clamp = false;
  bool exact = false;  // a texel for every sample, nothing to interpolate
  bool encoded() const { return source && level == 0; }
};

struct Step {
  enum class Op { empty, sample, stored, crop, clamp, axis, kernel };
  Op op = Op::empty;
  const Node* node = nullptr;
  Lattice lattice;
  IndexRect bounds;             // samples outside are transparent
  std::vector<int> inputs;      // steps; -1 where an image is read whole or along an edge from a source
  std::vector<GridEdge> edges;  // sample, warp, zoom: one; taps: one per image after the first
  IndexRect clampRect;          // clamp: the samples whose edge is repeated
  bool straight = false;        // its samples are straight colour
  bool keepsRows = false;       // in every part of the program, so that they are rounded alike
  // stored: what an earlier render has left, or what this one computes before it goes on
  std::shared_ptr<const KeptSamples> stored;
  std::shared_ptr<SampleStore> store;
  // kernel
  const KernelOps* ops = nullptr;
  std::unique_ptr<std::max_align_t[]> kernel;
  CGPoint anchor;
  double bound = 0;                       // taps: in samples; kAnywhere for the whole input
  std::optional<AxisStage> axisX, axisY;  // axis: what separable and resample kernels are made of
  std::optional<Chords> chords;           // axis as well: what extreme kernels are made of
  std::vector<LineTap> line;
  int64_t reach = 0, rise = 0;  // area, line: in samples to either side, in rows above and below

  bool copiesTexels() const { return op == Op::sample && edges[0].exact; }
  // Every row of its samples lies on one row of a bitmap's texels, or between two.
  bool followsRows() const { return op == Op::sample && edges[0].source && edges[0].toGrid.b == 0; }
};

struct Program {
  std::vector<Step> steps;
  // Texels stay encoded, and so are the root's samples: for a result in the bitmap's own space there is no
  // way to light and back.
  bool encoded = false;
  int root = 0;
  int shared = 0;                                            // times that a step served another user as well
  std::map<uint64_t, std::unique_ptr<TexelSource>> sources;  // by the bitmap's serial
  std::vector<std::unique_ptr<Values>> found;                // what reduce kernels found
  std::vector<std::vector<Px>> tables;
  std::vector<std::unique_ptr<std::max_align_t[]>> kernels;  // that resample stages point at
  std::vector<NodePtr> kept;                                 // nodes the steps point at
};

struct ProgramOptions {
  // Samples of a recipe that need not be computed; may be empty, and return null.
  std::function<std::shared_ptr<const KeptSamples>(const Digest&, const Lattice&)> kept;
  // What is kept of a source's means; may be empty, and return null.
  std::function<std::shared_ptr<TexelPyramid>(const Bitmap&)> pyramid;
  ColorSpacePtr working;                  // null: linear sRGB
  const double* workingMatrix = nullptr;  // linear sRGB to its primaries; null: the identity
  // Renders the root of a program whole: how tables, reductions and foreign frames get their pixels.
  std::function<std::string(Program&, const IndexRect&, Buffer&)> renderWhole;
  InstructionSet set = InstructionSet::baseline;  // that texels are read with
  bool direct = false;   // every separable kernel as its plain sum: what the reference is computed from
  bool outline = false;  // only to see its steps: no bitmap is opened
  int depth = 0;         // of programs within programs
};

// The steps that the root's samples are computed from, its own among them.
std::vector<bool> stepsRead(const Program& program);

// The bitmap whose texels the root shows moved or cut and otherwise as they are, or null.
const TexelSource* movedTexels(const Program& program);
// Whether a program of the recipe may do so.
bool movesTexels(const NodePtr& recipe);

// The best quality, at most the lattice's, that is worth its work: a preview of a whole screen should take a
// tenth of a second at most, a thorough one some tenths, or a few seconds where it would look like something
// else. Follows from the recipe and the pitch alone.
Quality affordableQuality(const CIImage& image, const Lattice& lattice, ProgramOptions options);
// Whether the image's samples will be means of finer ones.
bool isFinerThanAsked(const CIImage& image, const Lattice& lattice);

// Returns the error, empty on success.
std::string buildProgram(const CIImage& image, const Lattice& lattice, const ProgramOptions& options,
                         Program& program);

}  // namespace vello
