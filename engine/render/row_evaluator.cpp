#include "engine/render/row_evaluator.h"

#include <algorithm>

#include "engine/render/row_workspace.h"

namespace vello {
namespace {

constexpr int64_t kNoRows = INT64_MIN;

IndexRange joined(const IndexRange& a, const IndexRange& b) {
  if (a.size() == 0) return b;
  if (b.size() == 0) return a;
  return {std::min(a.begin, b.begin), std::max(a.end, b.end)};
}

}  // namespace

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
  work_->slotSamples.resize(static_cast<size_t>(slots) * 4 * kRunLength);
  for (int k = 0; k < slots; ++k)
    work_->slots.push_back(planesAt(work_->slotSamples.data() + int64_t{k} * 4 * kRunLength, kRunLength));
  work_->current = work_->slots;
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
      runPass(pass, next_, i, n, nullptr);
      store.row(next_, i, n, work_->current[static_cast<size_t>(pass.ops.back().slot)]);
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
  double all = static_cast<double>(work_->slotSamples.size() * sizeof(float));
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

// The last operation writes to `into`, where there is one. Where runs lie is told by reference: pointers that
// were just stored one by one and are copied as wide words make the processor wait for every store before.
void RowEvaluator::runPass(const Pass& pass, int64_t j, int64_t i, int n, const Run* into) {
  for (size_t k = 0; k < pass.ops.size(); ++k) {
    const RunOp& op = pass.ops[k];
    const bool last = into && k + 1 == pass.ops.size(), load = op.type == RunOp::Type::load;
    const Run& to = last ? *into : work_->slots[static_cast<size_t>(op.slot)];
    Run& current = work_->current[static_cast<size_t>(op.slot)];
    if (load && !last) {
      current = rowOf(op.step, j, i);
      continue;
    }
    if (op.type == RunOp::Type::compute) {
      if (!last && liesReady(op, j, i, n, current)) continue;
      compute(op, j, i, n, to);
    } else {
      const Run from = load ? rowOf(op.step, j, i) : work_->current[static_cast<size_t>(op.inputs[0])];
      if (from.r != to.r) copyRun(from, to, n);
      if (op.type == RunOp::Type::straighten) straighten(to, n);
      if (op.type == RunOp::Type::premultiply) premultiply(to, n);
    }
    if (!last) current = to;
  }
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

}  // namespace vello
