#include "engine/render/axis_rows.h"

#include <algorithm>
#include <bit>

#include "engine/plan/regions.h"
#include "engine/render/column_filter.h"
#include "engine/render/row_ring.h"
#include "engine/render/window_fold.h"

namespace vello {
namespace {

// Weighted sums along both axes.
class StagedRows : public AxisRows {
 public:
  StagedRows(const Step& step, const IndexRect& out, const RowLoops& loops)
      : AxisRows(filteredRegion(step, out), out, loops), x_(*step.axisX), y_(*step.axisY) {}
  int64_t lowestFor(int64_t j) const override { return y_.inputFor({j, j + 1}).begin; }

 protected:
  const AxisStage &x_, &y_;
};

// Along x as rows come; then every output row is a sum of the rows around it.
class GatheredRows : public StagedRows {
 public:
  GatheredRows(const Step& step, const IndexRect& out, const RowLoops& loops)
      : StagedRows(step, out, loops),
        columns_(x_, {out.x0, out.x1}, loops),
        rows_(out.width()),
        weights_(static_cast<size_t>(y_.count())) {}

  void take(int64_t row, const Run* samples) override {
    const Run to = rows_.add(row, wanted_);
    flags_[slot(row)] = samples ? columns_.filter(*samples, to) : Alpha::clear;
  }

  void make(int64_t j, const Run& out) override {
    const int64_t first = y_.weigh(j, weights_.data());
    // The next output row takes nothing above this.
    wanted_ = y_.inputFor({j - 1, j}).end - 1;
    pointers_.clear();
    used_.clear();
    bool opaque = true;
    for (int t = 0; t < y_.count(); ++t) {
      if (weights_[static_cast<size_t>(t)] == 0) continue;
      const Alpha alpha = flags_[slot(first + t)];
      opaque = opaque && alpha == Alpha::opaque;
      if (alpha == Alpha::clear) continue;
      pointers_.push_back(rows_.at(first + t));
      used_.push_back(weights_[static_cast<size_t>(t)]);
    }
    sum(opaque, out);
  }

  bool repeats(int64_t j) const override { return y_.repeats(j); }

  double bytes() const override { return rows_.bytes(); }

 private:
  void sum(bool opaque, const Run& out) {
    const int64_t n = out_.width();
    const int count = static_cast<int>(used_.size());
    const bool whole = count == y_.count() && symmetric_;
    float* const channels[] = {out.r, out.g, out.b, out.a};
    float* Run::*const planes[] = {&Run::r, &Run::g, &Run::b, &Run::a};
    list_.resize(static_cast<size_t>(count));
    for (size_t c = 0; c < (opaque ? 3u : 4u); ++c) {
      for (size_t t = 0; t < list_.size(); ++t) list_[t] = pointers_[t].*planes[c];
      (whole ? loops_.symmetricSum : loops_.weightedSum)(list_.data(), used_.data(), count, channels[c], n);
    }
    if (opaque) {
      std::fill_n(out.a, n, 1.0f);
    } else {
      loops_.snapToOne(out.a, n);
    }
  }

  // Rows that lie in the window at one time have slots of their own.
  size_t slot(int64_t row) const { return static_cast<size_t>(row) & (flags_.size() - 1); }

  ColumnFilter columns_;
  RowRing rows_;
  std::vector<float> weights_, used_;
  std::vector<Run> pointers_;
  std::vector<const float*> list_;
  std::vector<Alpha> flags_ =
      std::vector<Alpha>(std::bit_ceil(static_cast<size_t>(y_.count()) + 2), Alpha::clear);
  const bool symmetric_ = y_.symmetric();
  int64_t wanted_ = INT64_MAX;
};

// Means of many rows, by doubling.
class MeanRows : public StagedRows {
 public:
  MeanRows(const Step& step, const IndexRect& out, const RowLoops& loops)
      : StagedRows(step, out, loops),
        columns_(x_, {out.x0, out.x1}, loops),
        rows_(loops.add, y_.count() - 2, out.width()),
        weights_(static_cast<size_t>(y_.count())) {
    y_.weigh(0, weights_.data());
  }

  void take(int64_t row, const Run* samples) override {
    const Run to = rows_.next(row);
    if (samples) columns_.filter(*samples, to);
    if (!samples) clearRun(to, out_.width());
    rows_.added(row);
  }

  // The outermost rows have a weight of their own.
  void make(int64_t j, const Run& out) override {
    const int64_t first = lowestFor(j);
    const Run low = rows_.at(first), high = rows_.at(first + y_.count() - 1);
    const float weights[] = {weights_[0], weights_[1], weights_[0]};
    rows_.make(first + 1, out);
    for (float* Run::*channel : {&Run::r, &Run::g, &Run::b, &Run::a}) {
      const float* const list[] = {low.*channel, out.*channel, high.*channel};
      loops_.weightedSum(list, weights, 3, out.*channel, out_.width());
    }
    loops_.snapToOne(out.a, out_.width());
  }

  double bytes() const override { return rows_.bytes(); }

 private:
  ColumnFilter columns_;
  RowsFold rows_;
  std::vector<float> weights_;
};

// Every row is added to the few coarse rows it takes part in; those are filtered along x when they are whole.
class ScatteredRows : public StagedRows {
 public:
  ScatteredRows(const Step& step, const IndexRect& out, const RowLoops& loops)
      : StagedRows(step, out, loops),
        columns_(x_, {out.x0, out.x1}, loops),
        width_(input().width()),
        open_(width_),
        weights_(static_cast<size_t>(y_.count())),
        next_(out.y1 - 1) {}

  void take(int64_t row, const Run* samples) override {
    while (next_ >= out_.y0 && row < y_.inputFor({next_, next_ + 1}).end) open(next_--);
    if (!samples) return;
    outs_[0].clear(), outs_[1].clear(), outs_[2].clear(), outs_[3].clear();
    factors_.clear();
    for (int64_t o = next_ + 1; o < out_.y1; ++o) {
      const int64_t t = row - y_.weigh(o, weights_.data());
      if (t < 0) break;
      const Run sums = open_.at(o);
      outs_[0].push_back(sums.r), outs_[1].push_back(sums.g), outs_[2].push_back(sums.b);
      outs_[3].push_back(sums.a);
      factors_.push_back(weights_[static_cast<size_t>(t)]);
    }
    const float* const channels[] = {samples->r, samples->g, samples->b, samples->a};
    for (size_t c = 0; c < 4; ++c)
      loops_.scatter(channels[c], outs_[c].data(), factors_.data(), static_cast<int>(factors_.size()),
                     width_);
  }

  void make(int64_t j, const Run& out) override {
    while (next_ >= j) open(next_--);
    const Run sums = open_.at(j);
    loops_.snapToOne(sums.a, width_);
    done_ = j;
    columns_.filter(sums, out);
  }

  double bytes() const override { return open_.bytes(); }

 private:
  void open(int64_t o) {
    const Run sums = open_.add(o, done_ - 1);
    for (float* p : {sums.r, sums.g, sums.b, sums.a}) std::fill_n(p, width_, 0.0f);
  }

  ColumnFilter columns_;
  int64_t width_;
  RowRing open_;
  std::vector<float> weights_, factors_;
  std::vector<float*> outs_[4];
  int64_t next_, done_ = INT64_MAX;
};

}  // namespace

std::unique_ptr<AxisRows> AxisRows::create(const Step& step, const IndexRect& out, const RowLoops& loops) {
  if (step.chords) return extremeRows(*step.chords, filteredRegion(step, out), out, loops);
  if (step.axisY->coarser()) return std::make_unique<ScatteredRows>(step, out, loops);
  if (step.axisY->flat()) return std::make_unique<MeanRows>(step, out, loops);
  return std::make_unique<GatheredRows>(step, out, loops);
}

}  // namespace vello
