// Evaluates a program over a rectangle of its root, row by row from the top down. Steps keep no more rows
// than somebody below still reads. One evaluator serves one rectangle on one thread at a time.
// row_evaluator.cpp decides which rows are made when, row_steps.cpp makes them.
#pragma once

#include <functional>
#include <memory>

#include "engine/plan/passes.h"
#include "engine/plan/regions.h"
#include "engine/render/axis_rows.h"
#include "engine/render/grid.h"
#include "engine/render/row_pair.h"
#include "engine/render/row_ring.h"

namespace vello {

// Thrown out of an evaluation that was told to stop.
struct RenderAbandoned {};

class RowEvaluator {
 public:
  // Takes what is computed.
  struct Store {
    // n samples of row j from column i on, premultiplied.
    using Row = std::function<void(int64_t j, int64_t i, int n, const Run& samples)>;
    // Row j is there what the row above it is. False when that one is no longer at hand.
    using Repeat = std::function<bool(int64_t j, int64_t i, int64_t n)>;
    template <class F>
    Store(F taken, Repeat repeated = nullptr) : row(std::move(taken)), repeat(std::move(repeated)) {}
    Row row;
    Repeat repeat;
  };

  // `regions` are those of `out`. `abandoned`, which may be null, is asked before every row of any step.
  RowEvaluator(const Program& program, const Passes& passes, const IndexRect& out, Regions regions,
               InstructionSet set, const std::function<bool()>* abandoned = nullptr);
  ~RowEvaluator();
  // The next `rows` rows of the rectangle. Throws RenderAbandoned.
  void advance(int64_t rows, const Store& store);
  // Memory it holds; it only grows.
  double bytes() const;

 private:
  struct Kept;
  struct Workspace;
  struct Columns;

  void keep(size_t pass);
  bool repeats(const Pass& pass, int64_t j) const;
  void checkAbandoned() const {
    if (abandoned_ && (*abandoned_)()) throw RenderAbandoned();
  }
  void prepare(const Pass& pass, int64_t j);
  void need(Kept& kept, int64_t lowest);
  void make(Kept& kept);
  void feed(Kept& kept, int64_t j);
  void release(const Pass& pass, size_t index, int64_t next);
  int64_t lowestFor(const Reader& reader, int64_t j) const;
  int64_t highestFor(const Reader& reader, int64_t j) const;
  int64_t firstWanted(const Reader& reader, const IndexRect& region, const IndexRect& rows) const;
  void buildGrids(const Step& step, size_t index);
  void fillGrid(int index, int edge, Grid& grid);
  void copyToGrid(int index, int edge, Grid& grid);
  int64_t* wantedBy(int step, int edge);
  Run rowOf(int step, int64_t j, int64_t i) const;

  void runPass(const Pass& pass, int64_t j, int64_t i, int n, const Run* into);
  bool liesReady(const RunOp& op, int64_t j, int64_t i, int n, Run& out) const;
  void compute(const RunOp& op, int64_t j, int64_t i, int n, const Run& out);
  Run input(const RunOp& op, size_t which) const;
  void computeInside(const RunOp& op, int64_t j, int64_t i, int n, const Run& out);
  static void stored(const Buffer& samples, int64_t j, int64_t i, int n, const Run& out);
  void texels(const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void readTexels(const TexelSource& source, int64_t j, int64_t i, int n, const Run& out) const;
  // Grids and row pairs.
  struct Samples {
    const float* samples;
    int64_t stride;
    const GridFrame& frame;
  };
  static Samples samplesOf(const Grid& grid) { return {grid.samples(), grid.frame().stride, grid.frame()}; }
  void interpolate(const GridEdge& edge, const Samples& grid, const double* u, const double* v, int n,
                   const Run& out);
  void scale(const Run& run, const float* gain, int n) const;
  void scaled(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out);
  void moved(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out);
  void tapped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void layOut(const Step& step, size_t index);
  void zoomed(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out);
  void cropped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void clamped(const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void lined(const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void windowed(const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void coloured(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out);
  void straighten(const Run& run, int n) const;
  void premultiply(const Run& run, int n) const;

  const Program& program_;
  const Passes& passes_;
  const Regions regions_;
  const InstructionSet set_;
  const RowLoops& loops_;
  const std::function<bool()>* const abandoned_;
  const IndexRect out_;
  int64_t next_;
  std::vector<std::unique_ptr<Kept>> kept_;        // by pass; null where nothing is kept
  std::vector<std::vector<Grid>> grids_;           // by step and edge; empty until they are needed
  std::vector<std::unique_ptr<Columns>> columns_;  // by step; of zoom kernels
  std::vector<std::unique_ptr<RowPair>> pairs_;    // by step; of scaled pictures
  std::unique_ptr<Workspace> work_;
};

}  // namespace vello
