// The greatest or least samples of windows.
#include <bit>
#include <cmath>
#include <cstring>

#include "engine/render/axis_rows.h"
#include "engine/render/buffer.h"
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
// Some rows join at once, column by column, so that the output rows stay in the first cache.
class ChordRows : public ExtremeRows {
 public:
  ChordRows(const Chords& chords, const IndexRect& input, const IndexRect& out, const RowLoops& loops)
      : ExtremeRows(chords, input, out, loops),
        join_(chords.greatest ? loops.joinGreatest : loops.joinLeast),
        open_(out.width()),
        waiting_({input.x0, 0, input.x1, kRowsAtOnce}) {
    const int64_t widest = chords.halves[0], room = kColumns + 2 * widest + 1;
    for (int64_t size = 1; size <= 2 * widest + 1; size *= 2) levels_.emplace_back(room);
    opaque_.resize(static_cast<size_t>((out.width() + kColumns - 1) / kColumns * input.height()));
    std::fill_n(ones_, kColumns, 1.0f);
    for (int64_t d = chords.height(); d >= 0; --d) addChord(chords.halves[static_cast<size_t>(d)]);
  }

  int64_t lowestFor(int64_t j) const override {
    const int64_t lowest = j - (kRowsAtOnce - 1) + (out_.y1 - 1 - j) % kRowsAtOnce;
    return std::max(out_.y0, lowest) - chords_.height();
  }

  void take(int64_t row, const Run* samples) override {
    const int64_t next = row - chords_.height();
    if (next >= out_.y0) open(next);
    copyRun(samplesOf(samples), waiting_.at(input_.x0, count_), input_.width());
    if (count_++ == 0) top_ = row;
    if (count_ == kRowsAtOnce) join();
  }

  void make(int64_t j, const Run& out) override {
    join();
    copyRun(open_.at(j), out, out_.width());
    for (int64_t i = 0; i < out_.width(); i += kColumns)
      if (seesOpaque(j, i)) fold_(out.a + i, ones_, out.a + i, std::min(kColumns, out_.width() - i));
    done_ = j;
  }

  double bytes() const override { return open_.bytes() + Buffer::bytesFor(waiting_.rect()); }

 private:
  static constexpr int64_t kRowsAtOnce = 16, kColumns = 64;

  void open(int64_t j) {
    const Run row = open_.add(j, done_ - 1);
    const float worst = chords_.greatest ? -INFINITY : INFINITY;
    for (float* p : {row.r, row.g, row.b, row.a}) std::fill_n(p, out_.width(), worst);
  }

  char* opaque(int64_t row, int64_t i) {
    return opaque_.data() + i / kColumns * input_.height() + (row - input_.y0);
  }
  bool seesOpaque(int64_t j, int64_t i) {
    const char* first = opaque(j - chords_.height(), i);
    return std::memchr(first, 1, static_cast<size_t>(2 * chords_.height() + 1)) != nullptr;
  }

  void addChord(int64_t half) {
    const int64_t length = 2 * half + 1, first = chords_.halves[0] - half;
    const auto piece = std::bit_floor(static_cast<uint64_t>(length));
    const auto level = static_cast<size_t>(std::countr_zero(piece));
    const float* a = levels_[level].data() + first;
    if (widths_.empty() || widths_.back().a != a)
      widths_.push_back({a, a + (length - static_cast<int64_t>(piece)), 0});
  }

  // The rows that wait join the output rows.
  void join() {
    for (int64_t r = 0; r < count_; ++r) findRows(top_ - r, rows_[r], joined_[r]);
    for (int64_t i = 0; i < out_.width() && count_ > 0; i += kColumns)
      for (int c = 0; c < 4; ++c)
        for (int64_t r = 0; r < count_; ++r) joinColumns(r, c, i, std::min(kColumns, out_.width() - i));
    count_ = 0;
  }

  // The output rows that a row joins, from its narrowest chord to the widest.
  void findRows(int64_t row, std::vector<float*>& rows, std::vector<Chord>& joined) {
    rows.clear();
    joined = widths_;
    size_t width = 0;
    for (int64_t d = chords_.height(); d >= 0; --d) {
      const auto index = static_cast<size_t>(d);
      if (d < chords_.height() && chords_.halves[index] != chords_.halves[index + 1]) ++width;
      const auto add = [&](int64_t j) {
        if (!open_.holds(j)) return;
        rows.push_back(open_.at(j).r);
        ++joined[width].rows;
      };
      add(row - d);
      if (d > 0) add(row + d);
    }
  }

  void joinColumns(int64_t r, int channel, int64_t i, int64_t n) {
    const Run in = waiting_.at(input_.x0 + i, r);
    const float* const planes[] = {in.r, in.g, in.b, in.a};
    const float* level = planes[channel];
    if (chords_.halves.back() == 0) joined_[r][0].a = joined_[r][0].b = level + chords_.halves[0];
    int64_t count = n + 2 * chords_.halves[0];
    if (channel == 3 && loops_.allOnes(level, count)) {
      *opaque(top_ - r, i) = 1;
      return;
    }
    for (size_t k = 1; k < levels_.size(); ++k) {
      const int64_t size = int64_t{1} << (k - 1);
      count -= size;
      fold_(level, level + size, levels_[k].data(), count);
      level = levels_[k].data();
    }
    join_(joined_[r].data(), static_cast<int>(joined_[r].size()), rows_[r].data(),
          channel * open_.planeStride() + i, n);
  }

  const RowLoops::Join join_;
  RowRing open_;
  Buffer waiting_;  // rows that have come and not joined, the first one first
  int64_t top_ = 0, count_ = 0;
  // By column and row: whether all that it joins has alpha 1, which joins when all the rest has.
  std::vector<char> opaque_;
  float ones_[kColumns];
  std::vector<std::vector<float>> levels_;  // extremes of 2^k samples of the columns being joined
  std::vector<Chord> widths_;               // from the narrowest to the widest
  std::vector<float*> rows_[kRowsAtOnce];   // that each waiting row joins
  std::vector<Chord> joined_[kRowsAtOnce];
  int64_t done_ = INT64_MAX;
};

}  // namespace

std::unique_ptr<AxisRows> extremeRows(const Chords& chords, const IndexRect& input, const IndexRect& out,
                                      const RowLoops& loops) {
  if (chords.rectangular()) return std::make_unique<RectangleRows>(chords, input, out, loops);
  return std::make_unique<ChordRows>(chords, input, out, loops);
}

}  // namespace vello
