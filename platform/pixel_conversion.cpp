#include "platform/pixel_conversion.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstring>

#include "platform/color_curve.h"
#include "platform/color_matrix.h"
#include "platform/pixel_layout.h"

namespace vello {

namespace {

constexpr int kBlock = 256;  // pixels worked on at a time, so that they stay in the first cache
constexpr int kCacheLine = 64;

struct Block {
  float r[kBlock], g[kBlock], b[kBlock], a[kBlock];
  PlanarRun run() { return {r, g, b, a}; }
};

PlanarRun advanced(const PlanarRun& run, int by) { return {run.r + by, run.g + by, run.b + by, run.a + by}; }

// What premultiplied colour is divided and multiplied by.
inline float divisor(float alpha) { return alpha == 0 ? 1 : alpha; }

struct FloatMatrix {
  float m[9];
  bool identity;

  explicit FloatMatrix(const Matrix3& matrix) : identity(true) {
    for (size_t i = 0; i < 9; ++i) {
      m[i] = static_cast<float>(matrix[i]);
      identity = identity && std::abs(matrix[i] - kIdentityMatrix[i]) < 1e-9;
    }
  }
  void apply(int n, float* __restrict r, float* __restrict g, float* __restrict b) const {
    if (identity) return;
    for (int i = 0; i < n; ++i) {
      const float x = r[i], y = g[i], z = b[i];
      r[i] = m[0] * x + m[1] * y + m[2] * z;
      g[i] = m[3] * x + m[4] * y + m[5] * z;
      b[i] = m[6] * x + m[7] * y + m[8] * z;
    }
  }
};

bool allOpaque(const float* alpha, int n) {
  int others = 0;
  for (int i = 0; i < n; ++i) others |= alpha[i] != 1;
  return others == 0;
}

void multiply(int n, const PlanarRun& c, const float* by, const PixelLoops& loops) {
  for (float* channel : {c.r, c.g, c.b}) loops.multiply(channel, by, n);
}

void divideByAlpha(int n, const PlanarRun& in, const PlanarRun& out, const PixelLoops& loops) {
  loops.divideByAlpha(in.r, in.a, out.r, n);
  loops.divideByAlpha(in.g, in.a, out.g, n);
  loops.divideByAlpha(in.b, in.a, out.b, n);
}

void multiplyByAlpha(int n, const PlanarRun& c) {
  for (int i = 0; i < n; ++i) {
    const float d = divisor(c.a[i]);
    c.r[i] *= d, c.g[i] *= d, c.b[i] *= d;
  }
}

// A null working space is linear sRGB.
Matrix3 fromSRGBToWorking(const ColorSpacePtr& working) {
  return working ? working->fromSRGB() : kIdentityMatrix;
}

Matrix3 fromWorkingToSRGB(const ColorSpacePtr& working) {
  return working ? working->toSRGB() : kIdentityMatrix;
}

Matrix3 product(const Matrix3& p, const Matrix3& q) {
  if (p == kIdentityMatrix) return q;
  return q == kIdentityMatrix ? p : p * q;
}

const std::array<float, 256>& byteFractions() {
  static const std::array<float, 256> fractions = [] {
    std::array<float, 256> values;
    for (size_t i = 0; i < 256; ++i) values[i] = static_cast<float>(i) / 255.0f;
    return values;
  }();
  return fractions;
}

}  // namespace

struct PixelReader::State {
  Bitmap bitmap;
  PixelOffsets offsets;
  ColorSpacePtr encoded;  // the space of readEncoded's values: the bitmap's own or sRGB
  const ColorCurve* curves[3];
  const float* byteTables[3];
  FloatMatrix toWorking, fromWorking;  // from and to the light of `encoded`
  const PixelLoops& loops;

  State(Bitmap source, ColorSpacePtr encodedSpace, const ColorSpacePtr& working, InstructionSet set)
      : bitmap(std::move(source)),
        offsets(bitmap.layout()),
        encoded(std::move(encodedSpace)),
        toWorking(product(fromSRGBToWorking(working), encoded->toSRGB())),
        fromWorking(product(encoded->fromSRGB(), fromWorkingToSRGB(working))),
        loops(pixelLoops(set)) {
    for (int k = 0; k < 3; ++k) {
      curves[k] = &encoded->curve(k);
      byteTables[k] = curves[k]->byteDecoder().data();
    }
  }

  bool isMatrix() const { return encoded == bitmap.space(); }
  bool byTables() const {
    return isMatrix() && bitmap.layout().bitsPerComponent == 8 && bitmap.layout().colorComponents() > 0;
  }
  const uint8_t* pixel(int64_t row, int64_t x) const {
    return bitmap.row(row) + x * bitmap.layout().bytesPerPixel();
  }

  void decode(int n, const PlanarRun& c) const;
  void decodeBetween(int n, const PlanarRun& c) const;
  void linearizeBlock(int n, const PlanarRun& c) const;
  void readAlpha(const uint8_t* p, int n, float* a) const;
  void readComponent(const uint8_t* p, int64_t offset, int n, float* values) const;
  void readStored(const uint8_t* p, int n, const PlanarRun& out) const;
  void straightLightByTables(const uint8_t* p, int n, const PlanarRun& out) const;
  void straightLightByTransform(const uint8_t* p, int n, const PlanarRun& out) const;
  void straightLight(const uint8_t* p, int n, const PlanarRun& out) const;
  void premultiply(int n, const PlanarRun& c) const;
  void readLinearBlock(const uint8_t* p, int n, const PlanarRun& out) const;
  void readEncodedBlock(const uint8_t* p, int n, const PlanarRun& out) const;
};

void PixelReader::State::decode(int n, const PlanarRun& c) const {
  float* channels[3] = {c.r, c.g, c.b};
  for (int k = 0; k < 3; ++k) {
    const CurveTable& table = curves[k]->decoder();
    for (int i = 0; i < n; ++i) channels[k][i] = static_cast<float>(table(channels[k][i]));
  }
}

// Of values between texels, which need no more than light's own precision.
void PixelReader::State::decodeBetween(int n, const PlanarRun& c) const {
  float* channels[3] = {c.r, c.g, c.b};
  float light[kBlock];
  for (int k = 0; k < 3; ++k) {
    if (!loops.decode(curves[k]->lightTable(), channels[k], light, n)) {
      const CurveTable& table = curves[k]->decoder();
      for (int i = 0; i < n; ++i)
        if (const float v = channels[k][i]; !(v >= 0 && v <= 1)) light[i] = static_cast<float>(table(v));
    }
    std::copy_n(light, n, channels[k]);
  }
}

void PixelReader::State::readComponent(const uint8_t* p, int64_t offset, int n, float* values) const {
  const PixelLayout& layout = bitmap.layout();
  const int64_t step = layout.bytesPerPixel();
  if (layout.bitsPerComponent == 8 && step == 4)
    return loops.fractions(p, static_cast<int>(offset), n, values);
  p += offset;
  if (layout.bitsPerComponent == 8) {
    const float* fractions = byteFractions().data();
    for (int i = 0; i < n; ++i, p += step) values[i] = fractions[*p];
  } else if (layout.bitsPerComponent == 16) {
    for (int i = 0; i < n; ++i, p += step) {
      const int code = layout.littleEndian ? p[0] | p[1] << 8 : p[1] | p[0] << 8;
      values[i] = static_cast<float>(code) / 65535.0f;
    }
  } else {
    for (int i = 0; i < n; ++i, p += step) {
      uint32_t bits;
      std::memcpy(&bits, p, sizeof bits);
      values[i] = std::bit_cast<float>(layout.littleEndian ? bits : __builtin_bswap32(bits));
    }
  }
}

void PixelReader::State::readAlpha(const uint8_t* p, int n, float* a) const {
  if (bitmap.layout().hasAlpha()) {
    readComponent(p, offsets.alpha, n, a);
  } else {
    loops.fill(1, n, a);
  }
}

// Pixels of three bytes with one after them, as the loops take them.
void widen(const uint8_t* pixels, int n, uint8_t* words) {
  for (int i = 1; i < n; ++i, pixels += 3, words += 4) std::memcpy(words, pixels, 4);
  std::memcpy(words, pixels, 3);  // there may be nothing after the last one
}

// Colour as stored, grey in all three channels. Not for other models.
void PixelReader::State::readStored(const uint8_t* p, int n, const PlanarRun& out) const {
  float* channels[3] = {out.r, out.g, out.b};
  readAlpha(p, n, out.a);
  const int colors = bitmap.layout().colorComponents();
  if (bitmap.layout().bytesPerPixel() == 3) {
    uint8_t words[kBlock * 4];
    widen(p, n, words);
    for (size_t k = 0; k < 3; ++k) loops.fractions(words, static_cast<int>(offsets.color[k]), n, channels[k]);
    return;
  }
  for (int k = 0; k < 3; ++k) {
    if (k < colors) {
      readComponent(p, offsets.color[static_cast<size_t>(k)], n, channels[k]);
    } else if (colors == 0) {
      std::fill_n(channels[k], n, 0.0f);
    } else {
      std::copy_n(channels[0], n, channels[k]);
    }
  }
}

void PixelReader::State::straightLightByTables(const uint8_t* p, int n, const PlanarRun& out) const {
  const PixelLayout& layout = bitmap.layout();
  const int64_t step = layout.bytesPerPixel();
  const bool gray = layout.colorComponents() == 1;
  const int64_t ro = offsets.color[0], go = gray ? ro : offsets.color[1], bo = gray ? ro : offsets.color[2];
  const float *rt = byteTables[0], *gt = byteTables[1], *bt = byteTables[2];
  readAlpha(p, n, out.a);
  if ((step == 3 || step == 4) && (!layout.premultiplied() || allOpaque(out.a, n))) {
    const int places[] = {static_cast<int>(ro), static_cast<int>(go), static_cast<int>(bo)};
    float* const results[] = {out.r, out.g, out.b};
    return loops.lookUp(p, static_cast<int>(step), places, byteTables, n, results);
  }
  if (!layout.premultiplied()) {
    for (int i = 0; i < n; ++i, p += step) {
      out.r[i] = rt[p[ro]], out.g[i] = gt[p[go]], out.b[i] = bt[p[bo]];
    }
    return;
  }
  const CurveTable &rc = curves[0]->decoder(), &gc = curves[1]->decoder(), &bc = curves[2]->decoder();
  for (int i = 0; i < n; ++i, p += step) {
    const uint8_t alpha = p[offsets.alpha];
    if (alpha == 255 || alpha == 0) {
      out.r[i] = rt[p[ro]], out.g[i] = gt[p[go]], out.b[i] = bt[p[bo]];
    } else {
      const float d = alpha;
      out.r[i] = static_cast<float>(rc(static_cast<float>(p[ro]) / d));
      out.g[i] = static_cast<float>(gc(static_cast<float>(p[go]) / d));
      out.b[i] = static_cast<float>(bc(static_cast<float>(p[bo]) / d));
    }
  }
}

void PixelReader::State::straightLightByTransform(const uint8_t* p, int n, const PlanarRun& out) const {
  const PixelLayout& layout = bitmap.layout();
  const int colors = layout.colorComponents();
  float plane[kBlock], components[kBlock * 4], rgb[kBlock * 3];
  readAlpha(p, n, out.a);
  for (int k = 0; k < colors; ++k) {
    readComponent(p, offsets.color[static_cast<size_t>(k)], n, plane);
    for (int i = 0; i < n; ++i) {
      components[i * colors + k] = layout.premultiplied() ? plane[i] / divisor(out.a[i]) : plane[i];
    }
  }
  bitmap.space()->toLinear(components, rgb, static_cast<size_t>(n));
  const float* light = rgb;
  for (int i = 0; i < n; ++i, light += 3) {
    out.r[i] = light[0], out.g[i] = light[1], out.b[i] = light[2];
  }
}

// Of `encoded`'s primaries, not multiplied by alpha.
void PixelReader::State::straightLight(const uint8_t* p, int n, const PlanarRun& out) const {
  if (byTables()) return straightLightByTables(p, n, out);
  if (!isMatrix()) return straightLightByTransform(p, n, out);
  readStored(p, n, out);
  if (bitmap.layout().premultiplied()) divideByAlpha(n, out, out, loops);
  decode(n, out);
}

void PixelReader::State::premultiply(int n, const PlanarRun& c) const {
  if (!bitmap.layout().hasAlpha() || allOpaque(c.a, n)) return;
  if (bitmap.layout().premultiplied()) return multiplyByAlpha(n, c);
  multiply(n, c, c.a, loops);
}

void PixelReader::State::readLinearBlock(const uint8_t* p, int n, const PlanarRun& out) const {
  straightLight(p, n, out);
  toWorking.apply(n, out.r, out.g, out.b);
  premultiply(n, out);
}

void PixelReader::State::readEncodedBlock(const uint8_t* p, int n, const PlanarRun& out) const {
  if (isMatrix()) {
    readStored(p, n, out);
    if (bitmap.layout().hasAlpha() && !bitmap.layout().premultiplied()) multiply(n, out, out.a, loops);
    return;
  }
  straightLight(p, n, out);
  const CurveTable& curve = curves[0]->encoder();
  for (float* channel : {out.r, out.g, out.b}) {
    for (int i = 0; i < n; ++i) channel[i] = static_cast<float>(curve(channel[i]));
  }
  premultiply(n, out);
}

namespace {

ColorSpacePtr encodedSpaceOf(const Bitmap& bitmap) {
  return bitmap.space()->isMatrix() ? bitmap.space() : ColorSpace::sRGB();
}

}  // namespace

PixelReader::PixelReader(Bitmap bitmap, const ColorSpacePtr& working, InstructionSet set) {
  ColorSpacePtr encoded = encodedSpaceOf(bitmap);
  state_ = std::make_unique<const State>(std::move(bitmap), std::move(encoded), working, set);
}

PixelReader::~PixelReader() = default;

const Bitmap& PixelReader::bitmap() const { return state_->bitmap; }

void PixelReader::readLinear(int64_t row, int64_t x, int n, const PlanarRun& out) const {
  // The same pixels of the row below are asked for: they are read next, mostly by somebody who reads a part
  // of every row, where the processor does not see it coming.
  if (row + 1 < bitmap().height()) {
    const uint8_t *begin = state_->pixel(row + 1, x), *end = state_->pixel(row + 1, x + n);
    for (const uint8_t* line = begin; line < end; line += kCacheLine) __builtin_prefetch(line);
  }
  for (int done = 0; done < n; done += kBlock) {
    state_->readLinearBlock(state_->pixel(row, x + done), std::min(kBlock, n - done), advanced(out, done));
  }
}

void PixelReader::readEncoded(int64_t row, int64_t x, int n, const PlanarRun& out) const {
  for (int done = 0; done < n; done += kBlock) {
    state_->readEncodedBlock(state_->pixel(row, x + done), std::min(kBlock, n - done), advanced(out, done));
  }
}

const ColorSpacePtr& PixelReader::encodedSpace() const { return state_->encoded; }

void PixelReader::linearize(int n, const PlanarRun& run) const {
  for (int done = 0; done < n; done += kBlock)
    state_->linearizeBlock(std::min(kBlock, n - done), advanced(run, done));
}

void PixelReader::State::linearizeBlock(int n, const PlanarRun& run) const {
  const bool weighted = !allOpaque(run.a, n);
  if (weighted) divideByAlpha(n, run, run, loops);
  decodeBetween(n, run);
  toWorking.apply(n, run.r, run.g, run.b);
  if (weighted) multiplyByAlpha(n, run);
}

void PixelReader::encode(int n, const PlanarRun& run) const {
  divideByAlpha(n, run, run, state_->loops);
  state_->fromWorking.apply(n, run.r, run.g, run.b);
  float* channels[3] = {run.r, run.g, run.b};
  for (int k = 0; k < 3; ++k) {
    const CurveTable& table = state_->curves[k]->encoder();
    for (int i = 0; i < n; ++i) channels[k][i] = static_cast<float>(table(channels[k][i]));
  }
  multiplyByAlpha(n, run);
}

struct PixelWriter::State {
  PixelLayout layout;
  ColorSpacePtr space;
  PixelOffsets offsets;
  FloatMatrix fromWorking;
  const PixelLoops& loops;

  State(const PixelLayout& rowLayout, ColorSpacePtr target, const ColorSpacePtr& working, InstructionSet set)
      : layout(rowLayout),
        space(std::move(target)),
        offsets(layout),
        fromWorking(product(space->fromSRGB(), fromWorkingToSRGB(working))),
        loops(pixelLoops(set)) {}

  void writeBlock(const PlanarRun& in, int n, uint8_t* dest) const;
  void writeBytes(const float* const* light, const float* alpha, bool weighted, int n, uint8_t* p) const;
  void encodeBytes(const float* light, const float* alpha, const ColorCurve& curve, int n,
                   int32_t* codes) const;
  void writeEncoded(const float* light, const float* alpha, const ColorCurve& curve, int n, uint8_t* p) const;
  void writeAlpha(const float* alpha, int n, uint8_t* p) const;
  void overBlack(const float* alpha, int n, const PlanarRun& c) const;
  void writeEncodedBlock(const PlanarRun& in, int n, uint8_t* dest) const;
  void packBytes(int32_t (*codes)[kBlock], const float* alpha, bool weighted, int n, uint8_t* p) const;
  void store(double value, uint8_t* p) const;
};

namespace {

// 0..1 to the nearest of 0..largest; NaN is 0.
inline unsigned nearest(double value, double largest) {
  const double scaled = value * largest;
  const double clamped = scaled > 0 ? std::min(scaled, largest) : 0;
  // Never negative, and far from where adding a half is not exact.
  return static_cast<unsigned>(clamped + 0.5);  // NOLINT(bugprone-incorrect-roundings)
}

}  // namespace

void PixelWriter::State::store(double value, uint8_t* p) const {
  if (layout.bitsPerComponent == 8) {
    *p = static_cast<uint8_t>(nearest(value, 255));
  } else if (layout.bitsPerComponent == 16) {
    const unsigned code = nearest(value, 65535);
    p[layout.littleEndian ? 0 : 1] = static_cast<uint8_t>(code);
    p[layout.littleEndian ? 1 : 0] = static_cast<uint8_t>(code >> 8);
  } else {
    uint32_t bits = std::bit_cast<uint32_t>(static_cast<float>(value == value ? value : 0));
    if (!layout.littleEndian) bits = __builtin_bswap32(bits);
    std::memcpy(p, &bits, sizeof bits);
  }
}

// 8-bit codes by threshold, except where they are multiplied by alpha afterwards. No alpha: all is opaque.
void PixelWriter::State::encodeBytes(const float* light, const float* alpha, const ColorCurve& curve, int n,
                                     int32_t* codes) const {
  curve.byteEncoder().encode(light, n, codes, loops);
  if (!alpha || !layout.premultiplied()) return;
  const CurveTable& continuous = curve.encoder();
  for (int i = 0; i < n; ++i) {
    if (alpha[i] == 1 || alpha[i] == 0) continue;
    codes[i] = static_cast<int32_t>(nearest(continuous(light[i]) * alpha[i], 255));
  }
}

// All components of 8-bit pixels; `weighted`: not all are opaque.
void PixelWriter::State::writeBytes(const float* const* light, const float* alpha, bool weighted, int n,
                                    uint8_t* p) const {
  int32_t codes[4][kBlock];
  for (int k = 0; k < layout.colorComponents(); ++k)
    encodeBytes(light[k], weighted ? alpha : nullptr, space->curve(k), n, codes[k]);
  packBytes(codes, alpha, weighted, n, p);
}

// The codes of the colour components, with alpha's behind them, which have room for one more.
void PixelWriter::State::packBytes(int32_t (*codes)[kBlock], const float* alpha, bool weighted, int n,
                                   uint8_t* p) const {
  const int32_t* list[4] = {codes[0], codes[1], codes[2], codes[3]};
  int places[4] = {}, count = 0;
  for (; count < layout.colorComponents(); ++count)
    places[count] = static_cast<int>(offsets.color[static_cast<size_t>(count)]);
  if (offsets.alpha >= 0) {
    places[count] = static_cast<int>(offsets.alpha);
    if (layout.hasAlpha() && weighted) {
      loops.roundBytes(alpha, n, codes[count]);
    } else {
      std::fill_n(codes[count], n, 255);
    }
    ++count;
  }
  if (count == 4) return loops.pack(list, places, n, p);
  for (int i = 0; i < n; ++i, p += count)
    for (int k = 0; k < count; ++k) p[places[k]] = static_cast<uint8_t>(codes[k][i]);
}

void PixelWriter::State::writeEncoded(const float* light, const float* alpha, const ColorCurve& curve, int n,
                                      uint8_t* p) const {
  const CurveTable& encoder = curve.encoder();
  const int64_t step = layout.bytesPerPixel();
  const bool premultiplied = layout.premultiplied();
  for (int i = 0; i < n; ++i, p += step) {
    const double factor = premultiplied ? divisor(alpha[i]) : 1;
    store(encoder(light[i]) * factor, p);
  }
}

void PixelWriter::State::writeAlpha(const float* alpha, int n, uint8_t* p) const {
  const int64_t step = layout.bytesPerPixel();
  const bool skipped = !layout.hasAlpha();
  for (int i = 0; i < n; ++i, p += step) store(skipped ? 1 : alpha[i], p);
}

void PixelWriter::State::writeBlock(const PlanarRun& in, int n, uint8_t* dest) const {
  Block straight;
  const bool weighted = layout.hasAlpha() && !allOpaque(in.a, n);
  const float* channels[3] = {in.r, in.g, in.b};
  if (weighted) divideByAlpha(n, in, straight.run(), loops);
  if (!weighted && !fromWorking.identity)
    std::copy_n(in.r, n, straight.r), std::copy_n(in.g, n, straight.g), std::copy_n(in.b, n, straight.b);
  if (weighted || !fromWorking.identity)
    channels[0] = straight.r, channels[1] = straight.g, channels[2] = straight.b;
  fromWorking.apply(n, straight.r, straight.g, straight.b);
  if (layout.bitsPerComponent == 8) return writeBytes(channels, in.a, weighted, n, dest);
  for (int k = 0; k < layout.colorComponents(); ++k)
    writeEncoded(channels[k], in.a, space->curve(k), n, dest + offsets.color[static_cast<size_t>(k)]);
  if (offsets.alpha >= 0) writeAlpha(in.a, n, dest + offsets.alpha);
}

// Without alpha, what is not opaque lies over black, which is seen in light.
void PixelWriter::State::writeEncodedBlock(const PlanarRun& in, int n, uint8_t* dest) const {
  Block changed;
  const bool opaque = allOpaque(in.a, n), weighted = layout.hasAlpha() && !opaque;
  const float* channels[3] = {in.r, in.g, in.b};
  if (!opaque && !layout.premultiplied()) {
    divideByAlpha(n, in, changed.run(), loops);
    channels[0] = changed.r, channels[1] = changed.g, channels[2] = changed.b;
  }
  if (!opaque && !layout.hasAlpha()) overBlack(in.a, n, changed.run());
  if (layout.bitsPerComponent == 8) {
    int32_t codes[4][kBlock];
    for (int k = 0; k < layout.colorComponents(); ++k) loops.roundBytes(channels[k], n, codes[k]);
    return packBytes(codes, in.a, weighted, n, dest);
  }
  const int64_t step = layout.bytesPerPixel();
  for (int k = 0; k < layout.colorComponents(); ++k)
    for (int i = 0; i < n; ++i)
      store(channels[k][i], dest + offsets.color[static_cast<size_t>(k)] + i * step);
  if (offsets.alpha >= 0) writeAlpha(in.a, n, dest + offsets.alpha);
}

// Straight encoded colour to what its light is over black.
void PixelWriter::State::overBlack(const float* alpha, int n, const PlanarRun& c) const {
  float* const channels[3] = {c.r, c.g, c.b};
  for (int k = 0; k < 3; ++k) {
    const CurveTable &decoder = space->curve(k).decoder(), &encoder = space->curve(k).encoder();
    for (int i = 0; i < n; ++i)
      if (alpha[i] != 1 && alpha[i] != 0)
        channels[k][i] = static_cast<float>(encoder(decoder(channels[k][i]) * alpha[i]));
  }
}

PixelWriter::PixelWriter(const PixelLayout& layout, ColorSpacePtr space, const ColorSpacePtr& working,
                         InstructionSet set)
    : state_(std::make_unique<const State>(layout, std::move(space), working, set)) {
  assert(state_->layout.colorComponents() == 0 ||
         state_->layout.colorComponents() == state_->space->componentCount());
}

PixelWriter::~PixelWriter() = default;

void PixelWriter::write(const PlanarRun& linear, int n, uint8_t* dest) const {
  const int64_t step = state_->layout.bytesPerPixel();
  for (int done = 0; done < n; done += kBlock) {
    state_->writeBlock(advanced(linear, done), std::min(kBlock, n - done), dest + done * step);
  }
}

void PixelWriter::writeEncoded(const PlanarRun& encoded, int n, uint8_t* dest) const {
  const int64_t step = state_->layout.bytesPerPixel();
  for (int done = 0; done < n; done += kBlock)
    state_->writeEncodedBlock(advanced(encoded, done), std::min(kBlock, n - done), dest + done * step);
}

const ColorSpacePtr& PixelWriter::space() const { return state_->space; }

}  // namespace vello
