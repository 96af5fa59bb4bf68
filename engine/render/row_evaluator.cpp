#include "engine/render/row_evaluator.h"

#include <algorithm>
#include <cmath>

#include "engine/plan/placement.h"
#include "engine/render/buffer.h"

namespace vello {
namespace {

constexpr int64_t kNoRows = INT64_MIN;
constexpr int kMostImages = 4;

Run planesAt(float* p, int64_t stride) { return {p, p + stride, p + 2 * stride, p + 3 * stride}; }

IndexRange joined(const IndexRange& a, const IndexRange& b) {
  if (a.size() == 0) return b;
  if (b.size() == 0) return a;
  return {std::min(a.begin, b.begin), std::max(a.end, b.end)};
}

// Share of a sample's width that lies between two edges.
float covered(double centre, double pitch, double low, double high) {
  const double begin = std::max(centre - pitch / 2, low), end = std::min(centre + pitch / 2, high);
  return static_cast<float>(std::clamp((end - begin) / pitch, 0.0, 1.0));
}

// Fills n samples from i on with samples that exist in [low, high) only; beyond, the nearest is repeated.
template <class Read>
void repeatEdges(int64_t i, int64_t n, int64_t low, int64_t high, const Run& out, Read read) {
  const int64_t begin = std::clamp(i, low, high - 1), end = std::clamp(i + n, begin + 1, high);
  const int64_t before = std::clamp<int64_t>(begin - i, 0, n - 1), count = std::min(end - begin, n - before);
  read(begin, count, advanced(out, before));
  const Px first = out.get(static_cast<int>(before)), last = out.get(static_cast<int>(before + count - 1));
  for (int64_t k = 0; k < before; ++k) out.set(static_cast<int>(k), first);
  for (int64_t k = before + count; k < n; ++k) out.set(static_cast<int>(k), last);
}

// What interpolation along one axis reads: the sample before a place, and how far beyond it the place lies.
struct AxisPlace {
  int64_t index;
  float part;
  bool inside;
};

// The samples outside `low` and `high`, which count as transparent, are those before the first.
AxisPlace axisPlace(double u, double low, double high, int64_t first, double last) {
  if (!(u > low && u < high)) return {first, 0, false};
  const double before = std::clamp(std::floor(u), static_cast<double>(first), last);
  return {static_cast<int64_t>(before), static_cast<float>(u - before), true};
}

}  // namespace

// Where the copies of a zoom kernel read, copy by copy.
struct RowEvaluator::Columns {
  int64_t first;
  size_t width;
  std::vector<int32_t> offsets;
  std::vector<float> parts;
};

// The rows of a step that are still read.
struct RowEvaluator::Kept {
  const Pass* pass;
  size_t index;        // of the pass
  IndexRect region;    // what is computed
  IndexRange columns;  // what readers see: transparent beyond the region
  RowRing ring;
  int64_t next;                      // the row to be made next
  std::vector<int64_t> wanted;       // by reader: the highest row it will still read
  std::unique_ptr<AxisRows> filter;  // of an axis step
  int64_t filterNext = 0;            // the row it takes next
};

struct RowEvaluator::Workspace {
  std::vector<float> slots;  // runs of kRunLength samples
  std::vector<Run> current;  // where each slot's value lies
  std::vector<float> zeros;  // a transparent row, and as much before it as windows reach
  int64_t reach = 0;
  int64_t shift = 0;                     // of the samples being computed, in their run
  std::vector<std::vector<Kept*>> read;  // by pass and reader: what it reads, or null where that is empty
  std::vector<std::vector<size_t>> readerIndex;
  float x[kRunLength] = {};  // also what a kernel that reads no place is given
  GridRun places;
  int32_t offsets[kRunLength];
  float s[kRunLength], t[kRunLength], inside[kRunLength];
  std::vector<float> moves, found;  // of taps
  std::vector<const float*> rows[4];
  std::vector<float> weights;
  std::vector<Run> window;

  Run transparent() {
    float* p = zeros.data() + reach;
    return {p, p, p, p};
  }
  Run slot(int k) { return planesAt(slots.data() + static_cast<int64_t>(k) * 4 * kRunLength, kRunLength); }
};

RowEvaluator::RowEvaluator(const Program& program, const Passes& passes, const IndexRect& out,
                           Regions regions, InstructionSet set, const std::function<bool()>* abandoned)
    : program_(program),
      passes_(passes),
      regions_(std::move(regions)),
      set_(set),
      loops_(rowLoops(set)),
      abandoned_(abandoned),
      out_(out),
      next_(out.y1 - 1),
      kept_(passes.list.size()),
      grids_(program.steps.size()),
      columns_(program.steps.size()),
      pairs_(program.steps.size()),
      work_(std::make_unique<Workspace>()) {
  int slots = 1;
  for (const Step& step : program.steps) work_->reach = std::max(work_->reach, step.reach);
  work_->zeros.resize(static_cast<size_t>(2 * work_->reach + kRunLength));
  work_->read.resize(passes.list.size());
  work_->readerIndex.resize(passes.list.size());
  for (size_t p = passes.list.size(); p-- > 0;) {
    slots = std::max(slots, passes.list[p].slots);
    keep(p);
  }
  work_->slots.resize(static_cast<size_t>(slots) * 4 * kRunLength);
  work_->current.resize(static_cast<size_t>(slots));
}

RowEvaluator::~RowEvaluator() = default;

// Users are kept before their inputs, so that every input learns what is read of it.
void RowEvaluator::keep(size_t p) {
  const Pass& pass = passes_.list[p];
  const bool root = p + 1 == passes_.list.size();
  IndexRect region = root ? out_ : regions_.steps[static_cast<size_t>(pass.step)];
  if (!root) {
    if (region.empty()) return;
    Kept* kept = kept_[p].get();
    if (!kept) return;
    kept->columns = joined(kept->columns, {region.x0, region.x1});
    kept->ring = RowRing(kept->columns.size());
    const Step& step = program_.steps[static_cast<size_t>(pass.step)];
    if (step.op == Step::Op::axis) {
      kept->filter = AxisRows::create(step, region, loops_);
      kept->filterNext = kept->filter->input().y1 - 1;
    }
  }
  for (const Reader& reader : pass.readers) {
    const int by = passes_.keptBy[static_cast<size_t>(reader.step)];
    const IndexRect& rows = regions_.steps[static_cast<size_t>(reader.step)];
    work_->read[p].push_back(nullptr);
    work_->readerIndex[p].push_back(0);
    if (by < 0 || rows.empty()) continue;
    auto& source = kept_[static_cast<size_t>(by)];
    if (!source) {
      source = std::make_unique<Kept>();
      source->pass = &passes_.list[static_cast<size_t>(by)];
      source->index = static_cast<size_t>(by);
      source->region = rows;
      source->next = rows.y1 - 1;
    }
    IndexRange columns{region.x0, region.x1};
    const Step& user = program_.steps[static_cast<size_t>(reader.by)];
    if (reader.way == Reader::Way::window) columns = {columns.begin - user.reach, columns.end + user.reach};
    if (reader.way == Reader::Way::axis) {
      const IndexRect read = filteredRegion(user, region);
      columns = {read.x0, read.x1};
    }
    if (reader.way == Reader::Way::clamp || reader.way == Reader::Way::grid) columns = {rows.x0, rows.x1};
    source->columns = joined(source->columns, columns);
    work_->read[p].back() = source.get();
    work_->readerIndex[p].back() = source->wanted.size();
    source->wanted.push_back(firstWanted(reader, region, rows));
  }
}

// The highest row a reader begins with, for a user whose region is `region`.
int64_t RowEvaluator::firstWanted(const Reader& reader, const IndexRect& region,
                                  const IndexRect& rows) const {
  if (reader.way == Reader::Way::grid || reader.way == Reader::Way::axis) return rows.y1 - 1;
  return highestFor(reader, region.y1 - 1);
}

void RowEvaluator::advance(int64_t rows, const Store& store) {
  const Pass& pass = passes_.list.back();
  const size_t index = passes_.list.size() - 1;
  for (const int64_t end = std::max(next_ - rows, out_.y0 - 1); next_ > end; --next_) {
    checkAbandoned();
    prepare(pass, next_);
    const bool same = store.repeat && repeats(pass, next_) && store.repeat(next_, out_.x0, out_.width());
    for (int64_t i = out_.x0; !same && i < out_.x1; i += kRunLength) {
      const int n = static_cast<int>(std::min<int64_t>(kRunLength, out_.x1 - i));
      store.row(next_, i, n, runPass(pass, next_, i, n, nullptr));
    }
    release(pass, index, next_ > out_.y0 ? next_ - 1 : kNoRows);
  }
}

// Whether a pass makes the same row as for the one above.
bool RowEvaluator::repeats(const Pass& pass, int64_t j) const {
  if (pass.ops.size() != 1 || pass.ops[0].type != RunOp::Type::load || j + 1 >= out_.y1) return false;
  const int by = passes_.keptBy[static_cast<size_t>(pass.ops[0].step)];
  const Kept* kept = kept_[static_cast<size_t>(by)].get();
  return kept && kept->filter && j >= kept->region.y0 && j + 1 < kept->region.y1 && kept->filter->repeats(j);
}

double RowEvaluator::bytes() const {
  double all = static_cast<double>(work_->slots.size() * sizeof(float));
  for (const auto& kept : kept_)
    if (kept) all += kept->ring.bytes() + (kept->filter ? kept->filter->bytes() : 0);
  for (const std::vector<Grid>& grids : grids_)
    for (const Grid& grid : grids) all += Grid::bytesFor(grid.box());
  for (const auto& pair : pairs_) all += pair ? pair->bytes() : 0;
  return all;
}

// Makes sure that what a pass reads for its row j is there.
void RowEvaluator::prepare(const Pass& pass, int64_t j) {
  const auto p = static_cast<size_t>(&pass - passes_.list.data());
  for (const int k : pass.moving)
    if (grids_[static_cast<size_t>(k)].empty())
      buildGrids(program_.steps[static_cast<size_t>(k)], static_cast<size_t>(k));
  for (size_t r = 0; r < pass.readers.size(); ++r)
    if (work_->read[p][r] && pass.readers[r].way != Reader::Way::grid)
      need(*work_->read[p][r], lowestFor(pass.readers[r], j));
}

void RowEvaluator::need(Kept& kept, int64_t lowest) {
  while (kept.next >= std::max(lowest, kept.region.y0)) make(kept);
}

void RowEvaluator::make(Kept& kept) {
  checkAbandoned();
  const int64_t j = kept.next--;
  if (!kept.filter) prepare(*kept.pass, j);
  if (kept.filter) feed(kept, j);
  const int64_t wanted = *std::max_element(kept.wanted.begin(), kept.wanted.end());
  const Run row = kept.ring.add(j, std::max(wanted, j));
  const int64_t before = kept.region.x0 - kept.columns.begin, after = kept.columns.end - kept.region.x1;
  clearRun(row, before);
  clearRun(advanced(row, kept.columns.size() - after), after);
  const Run inner = advanced(row, before);
  if (kept.filter) {
    kept.filter->make(j, inner);
    return;
  }
  for (int64_t i = kept.region.x0; i < kept.region.x1; i += kRunLength) {
    const Run to = advanced(inner, i - kept.region.x0);
    runPass(*kept.pass, j, i, static_cast<int>(std::min<int64_t>(kRunLength, kept.region.x1 - i)), &to);
  }
  release(*kept.pass, kept.index, j > kept.region.y0 ? j - 1 : kNoRows);
}

// Hands a filter the rows that its row j takes.
void RowEvaluator::feed(Kept& kept, int64_t j) {
  Kept* source = work_->read[kept.index][0];
  const size_t reader = work_->readerIndex[kept.index][0];
  const int64_t left = kept.filter->input().x0;
  for (const int64_t lowest = kept.filter->lowestFor(j); kept.filterNext >= lowest; --kept.filterNext) {
    const int64_t row = kept.filterNext;
    if (!source || row < source->region.y0 || row >= source->region.y1) {
      kept.filter->take(row, nullptr);
      continue;
    }
    need(*source, row);
    const Run samples = advanced(source->ring.at(row), left - source->columns.begin);
    kept.filter->take(row, &samples);
    source->wanted[reader] = row - 1;
  }
}

// Tells what a pass reads that `next` is the row it makes next.
void RowEvaluator::release(const Pass& pass, size_t p, int64_t next) {
  for (size_t r = 0; r < pass.readers.size(); ++r)
    if (Kept* source = work_->read[p][r]; source && pass.readers[r].way != Reader::Way::grid)
      source->wanted[work_->readerIndex[p][r]] =
          next == kNoRows ? kNoRows : highestFor(pass.readers[r], next);
}

int64_t RowEvaluator::lowestFor(const Reader& reader, int64_t j) const {
  const Step& user = program_.steps[static_cast<size_t>(reader.by)];
  if (reader.way == Reader::Way::window) return j - user.rise;
  if (reader.way == Reader::Way::clamp) return std::clamp(j, user.clampRect.y0, user.clampRect.y1 - 1);
  return j;
}

int64_t RowEvaluator::highestFor(const Reader& reader, int64_t j) const {
  if (reader.way == Reader::Way::window) return j + program_.steps[static_cast<size_t>(reader.by)].rise;
  return lowestFor(reader, j);
}

void RowEvaluator::buildGrids(const Step& step, size_t index) {
  std::vector<Grid>& grids = grids_[index];
  for (size_t e = 0; e < step.edges.size(); ++e) {
    const bool any = e < regions_.edges[index].size();
    grids.emplace_back(step.edges[e], any ? regions_.edges[index][e] : IndexRect{});
    if (!grids.back().box().empty()) fillGrid(static_cast<int>(index), static_cast<int>(e), grids.back());
  }
}

void RowEvaluator::fillGrid(int index, int e, Grid& grid) {
  const GridEdge& edge = program_.steps[static_cast<size_t>(index)].edges[static_cast<size_t>(e)];
  if (!edge.source) {
    const auto& store = program_.steps[static_cast<size_t>(edge.step)].store;
    return store ? grid.fill(*store) : copyToGrid(index, e, grid);
  }
  const IndexRect& box = grid.box();
  const Scratch row(box.width());
  for (int64_t j = box.y1 - 1; j >= box.y0; --j) {
    checkAbandoned();
    edge.source->readLevel(edge.level, j, box.x0, static_cast<int>(box.width()), row.run());
    grid.setRow(j, row.run(), loops_);
  }
}

void RowEvaluator::copyToGrid(int index, int edge, Grid& grid) {
  const int from = program_.steps[static_cast<size_t>(index)].edges[static_cast<size_t>(edge)].step;
  Kept* kept = kept_[static_cast<size_t>(passes_.keptBy[static_cast<size_t>(from)])].get();
  const IndexRect& box = grid.box();
  int64_t* wanted = wantedBy(index, edge);
  for (int64_t j = box.y1 - 1; j >= box.y0; --j) {
    need(*kept, j);
    grid.setRow(j, advanced(kept->ring.at(j), box.x0 - kept->columns.begin), loops_);
    *wanted = j - 1;
  }
  *wanted = kNoRows;
}

// The mark of what is still read along an edge.
int64_t* RowEvaluator::wantedBy(int step, int edge) {
  for (size_t p = 0; p < passes_.list.size(); ++p) {
    const std::vector<Reader>& readers = passes_.list[p].readers;
    for (size_t r = 0; r < readers.size(); ++r)
      if (readers[r].by == step && readers[r].edge == edge && work_->read[p][r])
        return &work_->read[p][r]->wanted[work_->readerIndex[p][r]];
  }
  return nullptr;
}

// Samples [i, ...) of a kept row; transparent outside what is computed.
Run RowEvaluator::rowOf(int step, int64_t j, int64_t i) const {
  const int by = passes_.keptBy[static_cast<size_t>(step)];
  const Kept* kept = by < 0 ? nullptr : kept_[static_cast<size_t>(by)].get();
  if (!kept || j < kept->region.y0 || j >= kept->region.y1) return work_->transparent();
  return advanced(kept->ring.at(j), i - kept->columns.begin);
}

// The last operation writes to `into`, where there is one. Returns the samples.
Run RowEvaluator::runPass(const Pass& pass, int64_t j, int64_t i, int n, const Run* into) {
  Run result{};
  for (size_t k = 0; k < pass.ops.size(); ++k) {
    const RunOp& op = pass.ops[k];
    const bool last = into && k + 1 == pass.ops.size();
    const Run to = last ? *into : work_->slot(op.slot);
    result = to;
    if (op.type == RunOp::Type::compute) {
      if (last || !liesReady(op, j, i, n, result)) compute(op, j, i, n, to);
    } else {
      const bool load = op.type == RunOp::Type::load;
      const Run from = load ? rowOf(op.step, j, i) : work_->current[static_cast<size_t>(op.inputs[0])];
      if (load && !last) {
        result = from;
      } else if (from.r != to.r) {
        copyRun(from, to, n);
      }
      if (op.type == RunOp::Type::straighten) straighten(to, n);
      if (op.type == RunOp::Type::premultiply) premultiply(to, n);
    }
    work_->current[static_cast<size_t>(op.slot)] = result;
  }
  return result;
}

// Whether samples that an earlier render has left can be read where they lie.
bool RowEvaluator::liesReady(const RunOp& op, int64_t j, int64_t i, int n, Run& out) const {
  const Step& step = program_.steps[static_cast<size_t>(op.step)];
  if (step.op != Step::Op::stored || !step.stored) return false;
  const Buffer& samples = step.stored->samples;
  const IndexRect run{i, j, i + n, j + 1};
  const bool inside = intersection(run, samples.rect()) == run &&
                      intersection(run, regions_.steps[static_cast<size_t>(op.step)]) == run;
  if (inside) out = samples.at(i, j);
  return inside;
}

void RowEvaluator::straighten(const Run& run, int n) const {
  if (loops_.allOnes(run.a, n)) return;
  for (float* c : {run.r, run.g, run.b}) loops_.divide(c, run.a, n);
}

void RowEvaluator::premultiply(const Run& run, int n) const {
  if (loops_.allOnes(run.a, n)) return;
  for (float* c : {run.r, run.g, run.b}) loops_.multiply(c, run.a, n);
}

// What nobody reads is left transparent: there, what a step reads itself may not be at hand.
void RowEvaluator::compute(const RunOp& op, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& r = regions_.steps[static_cast<size_t>(op.step)];
  const int64_t begin = std::clamp<int64_t>(r.x0 - i, 0, n), end = std::clamp<int64_t>(r.x1 - i, 0, n);
  if (j < r.y0 || j >= r.y1 || begin >= end) return clearRun(out, n);
  work_->shift = begin;
  computeInside(op, j, i + begin, static_cast<int>(end - begin), advanced(out, begin));
  clearRun(out, begin);
  clearRun(advanced(out, end), n - end);
}

// The samples of an input, from the first that is computed on.
Run RowEvaluator::input(const RunOp& op, size_t which) const {
  return advanced(work_->current[static_cast<size_t>(op.inputs[which])], work_->shift);
}

void RowEvaluator::computeInside(const RunOp& op, int64_t j, int64_t i, int n, const Run& out) {
  const Step& step = program_.steps[static_cast<size_t>(op.step)];
  const auto index = static_cast<size_t>(op.step);
  switch (step.op) {
    case Step::Op::empty:
    case Step::Op::axis:  // always kept: computed by its filter
      return clearRun(out, n);
    case Step::Op::sample:
      if (step.edges[0].exact) return texels(step, j, i, n, out);
      return step.followsRows() ? scaled(step, index, j, i, n, out) : moved(step, index, j, i, n, out);
    case Step::Op::stored:
      return step.store ? step.store->read(j, i, n, out) : stored(step.stored->samples, j, i, n, out);
    case Step::Op::crop:
      return cropped(op, step, j, i, n, out);
    case Step::Op::clamp:
      return clamped(step, j, i, n, out);
    case Step::Op::kernel:
      break;
  }
  switch (step.ops->kind) {
    case Kind::warp:
      return moved(step, index, j, i, n, out);
    case Kind::zoom:
      return zoomed(step, index, j, i, n, out);
    case Kind::taps:
      return tapped(op, step, j, i, n, out);
    case Kind::line:
      return lined(step, j, i, n, out);
    case Kind::area:
      return windowed(step, j, i, n, out);
    default:
      return coloured(op, step, j, i, n, out);
  }
}

// They reach as far as anybody asked; a run may go further.
void RowEvaluator::stored(const Buffer& samples, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& r = samples.rect();
  const int64_t begin = std::clamp<int64_t>(r.x0 - i, 0, n), end = std::clamp<int64_t>(r.x1 - i, 0, n);
  if (j < r.y0 || j >= r.y1 || begin >= end) return clearRun(out, n);
  clearRun(out, begin);
  copyRun(samples.at(i + begin, j), advanced(out, begin), end - begin);
  clearRun(advanced(out, end), n - end);
}

void RowEvaluator::texels(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const GridEdge& edge = step.edges[0];
  const IndexRect& v = edge.valid;
  const GridPoint corner = gridPoint(step, edge, i, j, {0, 0, 1});
  const auto column = static_cast<int64_t>(corner.u), row = static_cast<int64_t>(corner.v);
  if (edge.clamp) {
    const int64_t line = std::clamp(row, v.y0, v.y1 - 1);
    return repeatEdges(column, n, v.x0, v.x1, out, [&](int64_t first, int64_t count, const Run& to) {
      readTexels(*edge.source, line, first, static_cast<int>(count), to);
    });
  }
  const int64_t begin = std::clamp<int64_t>(v.x0 - column, 0, n),
                end = std::clamp<int64_t>(v.x1 - column, 0, n);
  if (row < v.y0 || row >= v.y1 || begin >= end) return clearRun(out, n);
  clearRun(out, begin);
  readTexels(*edge.source, row, column + begin, static_cast<int>(end - begin), advanced(out, begin));
  clearRun(advanced(out, end), n - end);
}

void RowEvaluator::readTexels(const TexelSource& source, int64_t j, int64_t i, int n, const Run& out) const {
  if (program_.encoded) return source.readLevel(0, j, i, n, out);
  source.readLinear(j, i, n, out);
}

// What lies at grid places along an edge.
void RowEvaluator::interpolate(const GridEdge& edge, const Samples& grid, const double* u, const double* v,
                               int n, const Run& out) {
  Workspace& w = *work_;
  const GridTaps taps{w.offsets, w.s, w.t, w.inside};
  loops_.gridTaps(u, v, grid.frame, taps, n);
  float* const planes[] = {out.r, out.g, out.b, out.a};
  loops_.interpolate(grid.samples, grid.stride, taps, planes, n);
  if (edge.encoded() && !program_.encoded) edge.source->linearize(n, out);
}

void RowEvaluator::scale(const Run& run, const float* gain, int n) const {
  if (loops_.allOnes(gain, n)) return;
  for (float* c : {run.r, run.g, run.b, run.a}) loops_.multiply(c, gain, n);
}

// A picture that is scaled and shifted, not turned.
void RowEvaluator::scaled(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  std::unique_ptr<RowPair>& pair = pairs_[index];
  if (!pair) pair = std::make_unique<RowPair>(step.edges[0], regions_.edges[index][0]);
  const GridRun& places = work_->places;
  gridRun(step, j, i, n, set_, work_->places);
  pair->moveTo(places.v[0], loops_);
  interpolate(step.edges[0], {pair->samples(), pair->stride(), pair->frame()}, places.u, places.v, n, out);
}

void RowEvaluator::moved(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  gridRun(step, j, i, n, set_, work_->places);
  interpolate(step.edges[0], samplesOf(grids_[index][0]), work_->places.u, work_->places.v, n, out);
  scale(out, work_->places.gain, n);
}

// Where every copy reads along a row: the same in all rows.
void RowEvaluator::layOut(const Step& step, size_t index) {
  const View<ScaledCopy> copies = step.ops->copies(step.kernel.get());
  const IndexRect& r = regions_.steps[index];
  const GridFrame& frame = grids_[index][0].frame();
  auto found = std::make_unique<Columns>();
  found->first = r.x0;
  found->width = static_cast<size_t>(r.width());
  for (int c = 0; c < copies.count; ++c)
    for (int64_t i = r.x0; i < r.x1; i += kRunLength) {
      const int n = static_cast<int>(std::min<int64_t>(kRunLength, r.x1 - i));
      gridRun(step, copies[c], r.y0, i, n, set_, work_->places);
      for (int k = 0; k < n; ++k) {
        const AxisPlace at = axisPlace(work_->places.u[k], frame.lowU, frame.highU, frame.x0, frame.lastI);
        found->offsets.push_back(static_cast<int32_t>(at.index - frame.x0));
        found->parts.push_back(at.part);
      }
    }
  columns_[index] = std::move(found);
}

void RowEvaluator::zoomed(const Step& step, size_t index, int64_t j, int64_t i, int n, const Run& out) {
  if (!columns_[index]) layOut(step, index);
  Workspace& w = *work_;
  const Columns& columns = *columns_[index];
  const Grid& grid = grids_[index][0];
  const GridFrame& frame = grid.frame();
  float sums[4 * kRunLength] = {};
  const View<ScaledCopy> copies = step.ops->copies(step.kernel.get());
  for (int c = 0; c < copies.count; ++c) {
    gridRun(step, copies[c], j, i, 1, set_, w.places);
    const AxisPlace at = axisPlace(w.places.v[0], frame.lowV, frame.highV, frame.y0, frame.lastJ);
    if (!at.inside) continue;
    const float* below = grid.samples() + (at.index - frame.y0) * frame.stride * 4;
    const size_t first = static_cast<size_t>(c) * columns.width + static_cast<size_t>(i - columns.first);
    loops_.addBetween({below, below + frame.stride * 4, at.part, static_cast<float>(copies[c].weight)},
                      columns.offsets.data() + first, columns.parts.data() + first, sums, n);
  }
  float* const planes[] = {out.r, out.g, out.b, out.a};
  loops_.separate(sums, planes, n);
  loops_.snapToOne(out.a, n);
}

void RowEvaluator::tapped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Workspace& w = *work_;
  const auto count = static_cast<size_t>(step.ops->taps), images = step.edges.size();
  const Run driver = input(op, 0);
  const Places places = placesOf(step, j, i, n, w.x, loops_);
  const auto bound = static_cast<float>(std::min(step.bound, 1e30));
  // By tap: dx, dy and gain of every sample.
  w.moves.resize(count * 3 * kRunLength);
  std::vector<Move> moves(count);
  for (int k = 0; k < n; ++k) {
    step.ops->where(step.kernel.get(), places.at(k), driver.get(k), moves.data());
    for (size_t t = 0; t < count; ++t) {
      float* m = w.moves.data() + t * 3 * kRunLength + k;
      m[0] = clamp(moves[t].dx, -bound, bound);
      m[kRunLength] = clamp(moves[t].dy, -bound, bound);
      m[2 * kRunLength] = moves[t].gain;
    }
  }
  w.found.resize(images * count * 4 * kRunLength);
  const auto found = [&](size_t e, size_t t) {
    return planesAt(w.found.data() + (e * count + t) * 4 * kRunLength, kRunLength);
  };
  const Lattice& l = step.lattice;
  for (size_t e = 0; e < images; ++e) {
    const CGAffineTransform& m = step.edges[e].toGrid;
    for (size_t t = 0; t < count; ++t) {
      const float* move = w.moves.data() + t * 3 * kRunLength;
      loops_.gridPlaces({{l.ox, static_cast<double>(i), l.pitch},
                         l.y(j),
                         move,
                         move + kRunLength,
                         m.a,
                         m.b,
                         m.c,
                         m.d,
                         m.tx,
                         m.ty},
                        w.places.u, w.places.v, n);
      interpolate(step.edges[e], samplesOf(grids_[static_cast<size_t>(op.step)][e]), w.places.u, w.places.v,
                  n, found(e, t));
      scale(found(e, t), move + 2 * kRunLength, n);
    }
  }
  std::vector<Px> samples(images * count);
  for (int k = 0; k < n; ++k) {
    for (size_t s = 0; s < samples.size(); ++s) samples[s] = found(s / count, s % count).get(k);
    out.set(k, step.ops->gather(step.kernel.get(), places.at(k), driver.get(k), samples.data()));
  }
}

void RowEvaluator::cropped(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const Run in = input(op, 0);
  const Lattice& l = step.lattice;
  const CGRect& c = step.node->rect;
  const auto column = [&](int64_t k) {
    return covered(l.x(k), l.pitch, c.origin.x, c.origin.x + c.size.width);
  };
  const float row = covered(l.y(j), l.pitch, c.origin.y, c.origin.y + c.size.height);
  if (row == 1 && column(i) == 1 && column(i + n - 1) == 1) {
    if (in.r != out.r) copyRun(in, out, n);
    return;
  }
  for (int k = 0; k < n; ++k) {
    const float share = row * column(i + k);
    const Px p = in.get(k);
    out.set(k, step.straight ? Px{p.r, p.g, p.b, p.a * share} : p * share);
  }
}

void RowEvaluator::clamped(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  const IndexRect& c = step.clampRect;
  const int64_t row = std::clamp(j, c.y0, c.y1 - 1);
  repeatEdges(i, n, c.x0, c.x1, out, [&](int64_t first, int64_t count, const Run& to) {
    copyRun(rowOf(step.inputs[0], row, first), to, count);
  });
}

void RowEvaluator::lined(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Workspace& w = *work_;
  for (auto& rows : w.rows) rows.clear();
  w.weights.clear();
  for (const LineTap& tap : step.line) {
    const Run row = rowOf(step.inputs[static_cast<size_t>(tap.part)], j + tap.dj, i + tap.di);
    w.rows[0].push_back(row.r), w.rows[1].push_back(row.g), w.rows[2].push_back(row.b),
        w.rows[3].push_back(row.a);
    w.weights.push_back(tap.weight);
  }
  float* const planes[] = {out.r, out.g, out.b, out.a};
  for (size_t c = 0; c < 4; ++c)
    loops_.weightedSum(w.rows[c].data(), w.weights.data(), static_cast<int>(w.weights.size()), planes[c], n);
  loops_.snapToOne(out.a, n);
}

void RowEvaluator::windowed(const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  std::vector<Run>& window = work_->window;
  window.clear();
  for (int64_t dj = -step.rise; dj <= step.rise; ++dj) window.push_back(rowOf(step.inputs[0], j + dj, i));
  step.ops->loops[static_cast<int>(set_)].windows(step.kernel.get(), window.data() + step.rise, out, n);
}

void RowEvaluator::coloured(const RunOp& op, const Step& step, int64_t j, int64_t i, int n, const Run& out) {
  Run in[kMostImages];
  for (size_t k = 0; k < step.inputs.size(); ++k)
    in[k] = op.inputs[k] >= 0 ? input(op, k) : work_->transparent();
  const Places places = step.ops->place ? placesOf(step, j, i, n, work_->x, loops_) : Places{work_->x, 0, 0};
  step.ops->loops[static_cast<int>(set_)].run(step.kernel.get(), in, places, out, n);
}

}  // namespace vello
