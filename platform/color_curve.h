// One channel's tone curve: encoded value to light and back, exactly in double and fast from tables.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/pixel_loops.h"

namespace vello {

// A function of a float, as quadratics over the ranges that share an exponent and 7 bits of the mantissa:
// within 1e-9 of the function, relative to it. Ranges that are not smooth enough ask the function itself.
class CurveTable {
 public:
  explicit CurveTable(std::function<double(double)> exact);

  double operator()(float x) const {
    const auto bits = std::bit_cast<uint32_t>(x);
    const uint32_t index = (bits >> 16) - kFirst;
    if (index >= kCount) return outside(x);
    const Piece& piece = pieces_[index];
    const double dx = x - std::bit_cast<float>((bits & 0xffff0000u) | 0x8000u);
    const double y = piece.c0 + dx * (piece.c1 + dx * piece.c2);
    return y == y ? y : exact_(x);
  }

 private:
  static constexpr uint32_t kFirst = (127 - 20) << 7;  // 2^-20
  static constexpr uint32_t kCount = 21 << 7;          // up to 2
  struct Piece {
    double c0, c1, c2;
  };
  Piece fit(double low, double high) const;
  double outside(float x) const { return x == 0 ? zero_ : exact_(x); }

  std::function<double(double)> exact_;
  double zero_;
  std::vector<Piece> pieces_;
};

// Light to the nearest of 256 codes: exact for any increasing curve, because it compares with the light at
// the middle between two codes and never computes an encoded value.
class ByteEncoder {
 public:
  // `middles[k]` is the light half way between codes k and k + 1, increasing.
  explicit ByteEncoder(const std::array<float, 255>& middles);

  // NaN is 0.
  void encode(const float* light, int n, int32_t* codes, const PixelLoops& loops) const;

 private:
  int32_t search(float x) const;

  std::array<float, 255> middles_;
  std::vector<int32_t> entries_;
  ByteCodes codes_{};
  bool oneStep_ = true;  // no entry's range holds two thresholds
};

// Immutable but for its tables, which are made on first use; safe to share between threads. Both directions
// continue outside 0..1: negative values by a point mirror image about (0, decode(0)).
class ColorCurve {
 public:
  // x >= d: (a x + b)^g + e; below: c x + f. The functions of ICC.1 'para' curves.
  struct Parameters {
    double g = 1, a = 1, b = 0, c = 0, d = 0, e = 0, f = 0;
    friend bool operator==(const Parameters&, const Parameters&) = default;
  };
  explicit ColorCurve(const Parameters& parameters);
  // Equally spaced points from 0 to 1, joined by straight lines; at least 2. Short level runs, which are
  // rounding, are tilted by less than half a 16-bit step so that the curve can be inverted.
  explicit ColorCurve(std::vector<double> points);
  ColorCurve(const ColorCurve&) = delete;
  ColorCurve& operator=(const ColorCurve&) = delete;

  double decode(double encoded) const;
  double encode(double linear) const;
  // Strictly, over 0..1, and finite: only then may encode() and the tables be used.
  bool increasing() const;
  bool sameAs(const ColorCurve& other) const { return p_ == other.p_ && points_ == other.points_; }

  const CurveTable& decoder() const { return tables().decoder; }
  const CurveTable& encoder() const { return tables().encoder; }
  const ByteEncoder& byteEncoder() const { return tables().byteEncoder; }
  const std::array<float, 256>& byteDecoder() const { return tables().byteDecoder; }
  // decode() between 0 and 1, to some 1e-8.
  LightTable lightTable() const { return {tables().light.data()}; }

 private:
  struct Tables {
    CurveTable decoder, encoder;
    ByteEncoder byteEncoder;
    std::array<float, 256> byteDecoder;
    std::vector<float> light;
  };
  const Tables& tables() const;
  double decodePositive(double encoded) const;
  double encodePositive(double linear) const;
  double decodePoints(double encoded) const;
  double encodePoints(double linear) const;
  void tiltLevelRuns();
  void indexPoints();

  Parameters p_;
  double zero_ = 0;        // decode(0)
  double breakLight_ = 0;  // the power part's light at d
  std::vector<double> points_;
  std::vector<uint32_t> firstPoint_;  // per equal slice of the light range, the segment its start lies in
  mutable std::once_flag once_;
  mutable std::unique_ptr<const Tables> tables_;
};

}  // namespace vello
