#include "platform/color_curve.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vello {

CurveTable::CurveTable(std::function<double(double)> exact) : exact_(std::move(exact)), zero_(exact_(0)) {
  pieces_.reserve(kCount);
  for (uint32_t i = 0; i < kCount; ++i) {
    pieces_.push_back(
        fit(std::bit_cast<float>((kFirst + i) << 16), std::bit_cast<float>((kFirst + i + 1) << 16)));
  }
}

CurveTable::Piece CurveTable::fit(double low, double high) const {
  const double middle = (low + high) / 2, half = (high - low) / 2;
  const double y0 = exact_(low), y1 = exact_(middle), y2 = exact_(high);
  const Piece piece{y1, (y2 - y0) / (2 * half), (y0 - 2 * y1 + y2) / (2 * half * half)};
  for (const double dx : {-0.75 * half, -0.25 * half, 0.25 * half, 0.75 * half}) {
    const double y = exact_(middle + dx);
    const double error = std::abs(piece.c0 + dx * (piece.c1 + dx * piece.c2) - y);
    // A tiny value's own rounding in float is far below what any store can hold.
    if (!(error <= 4e-9 * std::abs(y))) return {std::numeric_limits<double>::quiet_NaN(), 0, 0};
  }
  return piece;
}

ByteEncoder::ByteEncoder(const std::array<float, 255>& middles) : middles_(middles) {
  const auto bitsOf = [](float x) { return std::bit_cast<int32_t>(std::max(x, 0.0f)); };
  constexpr int32_t none = 1 << 16;
  const int32_t first = bitsOf(middles.front()) >> 16, last = bitsOf(middles.back()) >> 16;
  // Below the first range lies one without a threshold, for everything smaller.
  entries_.push_back(none);
  int32_t code = 0;
  for (int32_t range = first; range <= last; ++range) {
    const int32_t bits = code < 255 ? bitsOf(middles[static_cast<size_t>(code)]) : 0;
    const bool inside = code < 255 && bits >> 16 == range;
    entries_.push_back(code << 17 | (inside ? bits & 0xffff : none));
    const int32_t before = code;
    while (code < 255 && bitsOf(middles[static_cast<size_t>(code)]) >> 16 <= range) ++code;
    oneStep_ = oneStep_ && code - before <= 1;
  }
  // Negative thresholds cannot be told apart by the bits of a clamped value.
  oneStep_ = oneStep_ && middles.front() > 0;
  codes_ = {entries_.data(), (first << 16) - 1, last << 16 | 0xffff};
}

void ByteEncoder::encode(const float* light, int n, int32_t* codes, const PixelLoops& loops) const {
  if (oneStep_) return loops.encodeBytes(light, codes_, n, codes);
  for (int i = 0; i < n; ++i) codes[i] = search(light[i]);
}

int32_t ByteEncoder::search(float x) const {
  if (x != x) x = 0;
  return static_cast<int32_t>(std::upper_bound(middles_.begin(), middles_.end(), x) - middles_.begin());
}

ColorCurve::ColorCurve(const Parameters& parameters) : p_(parameters) {
  zero_ = decodePositive(0);
  breakLight_ = std::pow(p_.a * p_.d + p_.b, p_.g) + p_.e;
}

ColorCurve::ColorCurve(std::vector<double> points) : points_(std::move(points)) {
  tiltLevelRuns();
  zero_ = points_.front();
  if (increasing()) indexPoints();
}

void ColorCurve::tiltLevelRuns() {
  const double halfStep = 0.45 / 65535;
  const size_t n = points_.size(), longest = n / 32 + 1;
  for (size_t i = 0, end = 0; i < n; i = end) {
    for (end = i + 1; end < n && points_[end] == points_[i];) ++end;
    const size_t count = end - i;
    if (count < 2 || count > longest) continue;
    // The ends of the curve stay where they are.
    const double low = i == 0 ? 0 : -halfStep, high = end == n ? 0 : halfStep;
    const double level = points_[i];
    for (size_t k = 0; k < count; ++k) {
      points_[i + k] = level + low + (high - low) * static_cast<double>(k) / static_cast<double>(count - 1);
    }
  }
}

void ColorCurve::indexPoints() {
  const size_t slices = points_.size() * 2;
  const double low = points_.front(), step = (points_.back() - low) / static_cast<double>(slices);
  firstPoint_.resize(slices + 2, static_cast<uint32_t>(points_.size() - 2));
  size_t point = 0;
  for (size_t i = 0; i < slices; ++i) {
    while (point + 2 < points_.size() && points_[point + 1] <= low + step * static_cast<double>(i)) ++point;
    firstPoint_[i] = static_cast<uint32_t>(point);
  }
}

double ColorCurve::decode(double encoded) const {
  return encoded < 0 ? 2 * zero_ - decodePositive(-encoded) : decodePositive(encoded);
}

double ColorCurve::encode(double linear) const {
  return linear < zero_ ? -encodePositive(2 * zero_ - linear) : encodePositive(linear);
}

double ColorCurve::decodePositive(double encoded) const {
  if (!points_.empty()) return decodePoints(encoded);
  return encoded >= p_.d ? std::pow(p_.a * encoded + p_.b, p_.g) + p_.e : p_.c * encoded + p_.f;
}

double ColorCurve::encodePositive(double linear) const {
  if (!points_.empty()) return encodePoints(linear);
  if (linear < breakLight_ && p_.d > 0) {
    if (p_.c <= 0) return linear > p_.f ? p_.d : 0;  // level up to d
    return std::min((linear - p_.f) / p_.c, p_.d);
  }
  return (std::pow(linear - p_.e, 1 / p_.g) - p_.b) / p_.a;
}

double ColorCurve::decodePoints(double encoded) const {
  if (std::isnan(encoded)) return encoded;
  const double last = static_cast<double>(points_.size() - 1), place = encoded * last;
  const auto i = static_cast<size_t>(std::min(place, last - 1));
  return points_[i] + (points_[i + 1] - points_[i]) * (place - static_cast<double>(i));
}

double ColorCurve::encodePoints(double linear) const {
  if (std::isnan(linear)) return linear;
  const double low = points_.front(), slices = static_cast<double>(firstPoint_.size() - 2);
  const double slice = (linear - low) / (points_.back() - low) * slices;
  const auto k = static_cast<size_t>(std::clamp(slice, 0.0, slices));
  // One segment either way, for the rounding of `slice`.
  const auto from = points_.begin() + std::max<int64_t>(0, int64_t{firstPoint_[k]} - 1);
  const auto to = points_.begin() + std::min<int64_t>(int64_t{firstPoint_[k + 1]} + 2,
                                                      static_cast<int64_t>(points_.size()) - 1);
  const auto above = std::upper_bound(from + 1, to, linear);
  const double rise = *above - above[-1];
  return (static_cast<double>(above - points_.begin() - 1) + (linear - above[-1]) / rise) /
         static_cast<double>(points_.size() - 1);
}

bool ColorCurve::increasing() const {
  if (!points_.empty()) {
    return std::adjacent_find(points_.begin(), points_.end(), std::greater_equal<>()) == points_.end();
  }
  double before = decode(0);
  for (int i = 1; i <= 1020; ++i) {
    const double light = decode(i / 1020.0);
    if (!(light > before) || !std::isfinite(light)) return false;
    before = light;
  }
  return std::isfinite(zero_);
}

namespace {

// The smallest float that is not below `x`.
float roundUp(double x) {
  const auto f = static_cast<float>(x);
  return f < x ? std::nextafter(f, std::numeric_limits<float>::infinity()) : f;
}

}  // namespace

const ColorCurve::Tables& ColorCurve::tables() const {
  std::call_once(once_, [this] {
    std::array<float, 255> middles;
    for (int k = 0; k < 255; ++k) middles[static_cast<size_t>(k)] = roundUp(decode((k + 0.5) / 255));
    std::array<float, 256> bytes;
    for (int k = 0; k < 256; ++k) bytes[static_cast<size_t>(k)] = static_cast<float>(decode(k / 255.0));
    constexpr int intervals = LightTable::kIntervals;
    std::vector<float> light;
    for (int k = 0; k <= intervals; ++k) {
      const double low = decode(1.0 * k / intervals), high = decode((k + 1.0) / intervals);
      light.push_back(static_cast<float>(low));
      light.push_back(static_cast<float>(high - low));
    }
    tables_.reset(new Tables{CurveTable([this](double x) { return decode(x); }),
                             CurveTable([this](double x) { return encode(x); }), ByteEncoder(middles), bytes,
                             std::move(light)});
  });
  return *tables_;
}

}  // namespace vello
