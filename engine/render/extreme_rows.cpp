// The greatest or least samples of windows.
#include <cmath>

#include "engine/render/axis_rows.h"
#include "engine/render/window_fold.h"

namespace vello {
namespace {

class ExtremeRows : public AxisRows {
 public:
  ExtremeRows(const Chords& chords, const IndexRect& input, const IndexRect& out, const RowLoops& loops)
      : AxisRows(input, out, loops),
        chords_(chords),
        fold_(chords.greatest ? loops.greatest : loops.least),
        scratch_(static_cast<size_t>(input.width())),
        transparent_(static_cast<size_t>(input.width())) {}
  int64_t lowestFor(int64_t j) const override { return j - chords_.height(); }

 protected:
  Run samplesOf(const Run* samples) {
    float* p = transparent_.data();
    return samples ? *samples : Run{p, p, p, p};
  }

  const Chords& chords_;
  const FoldLoop fold_;
  std::vector<float> scratch_;

 private:
  std::vector<float> transparent_;
};

// A rectangle: along both axes by doubling.
class RectangleRows : public ExtremeRows {
 public:
  RectangleRows(const Chords& chords, const IndexRect& input, const IndexRect& out, const RowLoops& loops)
      : ExtremeRows(chords, input, out, loops), rows_(fold_, 2 * chords.height() + 1, out.width()) {}

  void take(int64_t row, const Run* samples) override {
    const Run in = samplesOf(samples), to = rows_.next(row);
    const int64_t length = 2 * chords_.halves[0] + 1;
    for (float* Run::*channel : {&Run::r, &Run::g, &Run::b, &Run::a})
      foldAlong(fold_, in.*channel, length, scratch_.data(), to.*channel, out_.width());
    rows_.added(row);
  }
  void make(int64_t j, const Run& out) override { rows_.make(lowestFor(j), out); }
  double bytes() const override { return rows_.bytes(); }

 private:
  RowsFold rows_;
};

// Any window, chord by chord: of every row that comes, the extremes of each width that occurs are worked out
// once, by doubling, and join the output rows in which the row lies at that width (Urbach and Wilkinson,
// "Efficient 2-D grayscale morphological transformations with arbitrary flat structuring elements", 2008).
class ChordRows : public ExtremeRows {
 public:
  ChordRows(const Chords& chords, const IndexRect& input, const IndexRect& out, const RowLoops& loops)
      : ExtremeRows(chords, input, out, loops), open_(out.width()), row_(static_cast<size_t>(out.width())) {}

  void take(int64_t row, const Run* samples) override {
    const int64_t next = row - chords_.height();
    if (next >= out_.y0) open(next);
    const Run in = samplesOf(samples);
    for (float* Run::*channel : {&Run::r, &Run::g, &Run::b, &Run::a}) join(row, in.*channel, channel);
  }

  void make(int64_t j, const Run& out) override {
    copyRun(open_.at(j), out, out_.width());
    done_ = j;
  }

  double bytes() const override { return open_.bytes(); }

 private:
  void open(int64_t j) {
    const Run row = open_.add(j, done_ - 1);
    const float worst = chords_.greatest ? -INFINITY : INFINITY;
    for (float* p : {row.r, row.g, row.b, row.a}) std::fill_n(p, out_.width(), worst);
  }

  // From the narrowest chord to the widest.
  void join(int64_t row, const float* in, float* Run::*channel) {
    const int64_t widest = chords_.halves[0];
    const float* level = in;  // extremes of `size` samples
    int64_t size = 1, count = input_.width();
    for (int64_t d = chords_.height(); d >= 0;) {
      const int64_t half = chords_.halves[static_cast<size_t>(d)], length = 2 * half + 1;
      for (; 2 * size <= length; size *= 2) {
        count -= size;
        fold_(level, level + size, scratch_.data(), count);
        level = scratch_.data();
      }
      const float* from = level + (widest - half);
      fold_(from, from + (length - size), row_.data(), out_.width());
      for (; d >= 0 && chords_.halves[static_cast<size_t>(d)] == half; --d) {
        joinOne(row - d, channel);
        if (d > 0) joinOne(row + d, channel);
      }
    }
  }

  void joinOne(int64_t j, float* Run::*channel) {
    if (!open_.holds(j)) return;
    float* to = open_.at(j).*channel;
    fold_(to, row_.data(), to, out_.width());
  }

  RowRing open_;
  std::vector<float> row_;
  int64_t done_ = INT64_MAX;
};

}  // namespace

std::unique_ptr<AxisRows> extremeRows(const Chords& chords, const IndexRect& input, const IndexRect& out,
                                      const RowLoops& loops) {
  if (chords.rectangular()) return std::make_unique<RectangleRows>(chords, input, out, loops);
  return std::make_unique<ChordRows>(chords, input, out, loops);
}

}  // namespace vello
