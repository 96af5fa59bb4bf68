// Between the bytes of a bitmap and planar premultiplied linear floats of a working space (by default linear
// light with sRGB primaries). Immutable after construction, safe to share between threads.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/bitmap.h"
#include "platform/instruction_set.h"

namespace vello {

// n pixels of a run, one array a channel.
struct PlanarRun {
  float* r;
  float* g;
  float* b;
  float* a;
};

class PixelReader {
 public:
  // A null working space is linear sRGB; another must be a matrix RGB space, of which only the primaries
  // count.
  explicit PixelReader(Bitmap bitmap, const ColorSpacePtr& working = nullptr,
                       InstructionSet set = bestInstructionSet());
  ~PixelReader();
  const Bitmap& bitmap() const;
  // Pixels [x, x + n) of a row (0 is the top) as premultiplied linear colour. The range must lie inside the
  // bitmap.
  void readLinear(int64_t row, int64_t x, int n, const PlanarRun& out) const;
  // The same pixels as premultiplied *encoded* colour of the bitmap's own space, for interpolation between
  // texels. A source that is not a matrix space gives sRGB-encoded colour.
  void readEncoded(int64_t row, int64_t x, int n, const PlanarRun& out) const;
  // The space of what readEncoded gives.
  const ColorSpacePtr& encodedSpace() const;
  // In place: premultiplied encoded (as readEncoded gives) to premultiplied linear. Alpha 0 divides by 1.
  void linearize(int n, const PlanarRun& run) const;
  // In place, the inverse of linearize, for what is averaged in linear light and kept encoded.
  void encode(int n, const PlanarRun& run) const;

 private:
  struct State;
  std::unique_ptr<const State> state_;
};

class PixelWriter {
 public:
  // `layout` gives depth, alpha kind and order of the rows written; `space` must be a matrix space (grey or
  // RGB).
  PixelWriter(const PixelLayout& layout, ColorSpacePtr space, const ColorSpacePtr& working = nullptr,
              InstructionSet set = bestInstructionSet());
  ~PixelWriter();
  // Unpremultiply, encode, and for premultiplied layouts multiply by alpha again; clamp to 0..1 and round to
  // nearest (float layouts are not clamped). NaN becomes 0. Layouts without alpha get the premultiplied (over
  // black) colour.
  void write(const PlanarRun& linear, int n, uint8_t* dest) const;
  // The same of premultiplied encoded colour of the space that is written.
  void writeEncoded(const PlanarRun& encoded, int n, uint8_t* dest) const;
  const ColorSpacePtr& space() const;

 private:
  struct State;
  std::unique_ptr<const State> state_;
};

}  // namespace vello
