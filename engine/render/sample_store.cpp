#include "engine/render/sample_store.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vello {
namespace {

constexpr int64_t kSampleBytes = 4 * sizeof(float);
constexpr int64_t kRowsTogether = 64;  // that are read from the file at once

int64_t stripWidthOf(const IndexRect& r) { return std::min<int64_t>(SampleStore::kMostInRun, r.width()); }

void check(const std::string& error) {
  if (!error.empty()) throw SampleStore::Failure(error);
}

}  // namespace

double SampleStore::bytesFor(const IndexRect& rect) {
  if (rect.empty()) return 0;
  const int64_t width = stripWidthOf(rect), strips = (rect.width() + width - 1) / width;
  return static_cast<double>(strips * width) * static_cast<double>(rect.height()) * kSampleBytes;
}

std::shared_ptr<SampleStore> SampleStore::create(const IndexRect& rect, double bytesInMemory,
                                                 std::string* error) {
  const double bytes = bytesFor(rect);
  constexpr double most = 1e17;  // offsets fit their type
  if (!(bytes < most)) return *error = "would keep more samples than the limit is", nullptr;
  auto memory = SpilledMemory::create(static_cast<int64_t>(bytes),
                                      static_cast<int64_t>(std::min(bytes, bytesInMemory)), error);
  return memory ? std::shared_ptr<SampleStore>(new SampleStore(rect, std::move(memory))) : nullptr;
}

SampleStore::SampleStore(const IndexRect& rect, std::unique_ptr<SpilledMemory> memory)
    : rect_(rect), stripWidth_(stripWidthOf(rect)), memory_(std::move(memory)) {}

int64_t SampleStore::offsetOf(int64_t j, int64_t i) const {
  const int64_t column = i - rect_.x0, strip = column / stripWidth_;
  return ((strip * rect_.height() + (j - rect_.y0)) * stripWidth_ + column % stripWidth_) * kSampleBytes;
}

// Calls piece(first, count) for the part of n samples from i on that lies in each strip.
template <class Piece>
void SampleStore::eachStrip(int64_t i, int64_t n, Piece piece) const {
  for (const int64_t end = i + n; i < end;) {
    const int64_t left = stripWidth_ - (i - rect_.x0) % stripWidth_, count = std::min(left, end - i);
    piece(i, count);
    i += count;
  }
}

void SampleStore::write(int64_t j, int64_t i, int n, const Run& samples, const RowLoops& loops) {
  float together[4 * kMostInRun];
  const float* const planes[] = {samples.r, samples.g, samples.b, samples.a};
  loops.interleave(planes, together, n);
  eachStrip(i, n, [&](int64_t first, int64_t count) {
    check(memory_->write(offsetOf(j, first), together + 4 * (first - i), count * kSampleBytes));
  });
}

void SampleStore::read(int64_t j, int64_t i, int n, const Run& out) const {
  clearRun(out, n);
  const int64_t begin = std::max(i, rect_.x0), end = std::min(i + n, rect_.x1);
  if (j < rect_.y0 || j >= rect_.y1 || begin >= end) return;
  std::vector<float> together(static_cast<size_t>(4 * (end - begin)));
  read({begin, j, end, j + 1}, together.data(), end - begin);
  for (int64_t k = begin; k < end; ++k) {
    const float* p = together.data() + 4 * (k - begin);
    out.set(static_cast<int>(k - i), {p[0], p[1], p[2], p[3]});
  }
}

void SampleStore::read(const IndexRect& box, float* out, int64_t stride) const {
  eachStrip(box.x0, box.width(), [&](int64_t first, int64_t count) {
    readStrip({first, box.y0, first + count, box.y1}, out + 4 * (first - box.x0), stride);
  });
}

// Rows of a strip follow one another: those in the file are read many at a time.
void SampleStore::readStrip(const IndexRect& part, float* out, int64_t stride) const {
  const int64_t rowBytes = stripWidth_ * kSampleBytes;
  const auto wanted = static_cast<size_t>(part.width() * kSampleBytes);
  std::vector<uint8_t> rows;
  for (int64_t j = part.y0; j < part.y1; j += kRowsTogether) {
    const int64_t count = std::min(kRowsTogether, part.y1 - j), offset = offsetOf(j, part.x0);
    const int64_t span = (count - 1) * rowBytes + static_cast<int64_t>(wanted);
    const uint8_t* from = memory_->inMemory(offset, span);
    if (!from) {
      rows.resize(static_cast<size_t>(span));
      check(memory_->read(offset, rows.data(), span));
      from = rows.data();
    }
    for (int64_t k = 0; k < count; ++k)
      std::memcpy(out + 4 * stride * (j - part.y0 + k), from + k * rowBytes, wanted);
  }
}

}  // namespace vello
