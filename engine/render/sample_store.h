// The samples of one step, computed once and read in any order: premultiplied float32, as exact as where they
// are computed anew. They lie in columns of strips, so that a box is few stretches of memory.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "engine/render/buffer.h"
#include "engine/render/row_loops.h"
#include "platform/spilled_memory.h"

namespace vello {

// Safe to share between threads: every sample is written once, before anybody reads it.
class SampleStore {
 public:
  // Thrown where a temporary file fails after its room was taken.
  struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  // Of the samples of `rect`; what goes beyond `bytesInMemory` lies in a temporary file. Null, and the
  // reason, where there is no room.
  static std::shared_ptr<SampleStore> create(const IndexRect& rect, double bytesInMemory, std::string* error);
  static double bytesFor(const IndexRect& rect);

  const IndexRect& rect() const { return rect_; }
  // n samples of row j from column i on, all of them inside; n is at most kMostInRun.
  void write(int64_t j, int64_t i, int n, const Run& samples, const RowLoops& loops);
  // Any samples of a row; those outside are transparent.
  void read(int64_t j, int64_t i, int n, const Run& out) const;
  // The samples of a box inside, interleaved, `stride` samples from row to row, the lowest row first.
  void read(const IndexRect& box, float* out, int64_t stride) const;

  static constexpr int kMostInRun = 256;

 private:
  SampleStore(const IndexRect& rect, std::unique_ptr<SpilledMemory> memory);
  int64_t offsetOf(int64_t j, int64_t i) const;
  template <class Piece>
  void eachStrip(int64_t i, int64_t n, Piece piece) const;
  void readStrip(const IndexRect& part, float* out, int64_t stride) const;

  const IndexRect rect_;
  const int64_t stripWidth_;
  const std::unique_ptr<SpilledMemory> memory_;
};

}  // namespace vello
