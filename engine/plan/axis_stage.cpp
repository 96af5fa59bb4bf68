#include "engine/plan/axis_stage.h"

#include <algorithm>
#include <cmath>

namespace vello {
namespace {

constexpr double kGaussianReach = 4;         // sigmas; what is cut off changes no 8-bit value
constexpr double kExactReach = 6;            // sigmas; nothing a float could tell is cut off
constexpr double kPrefilter = 0.8;           // sigma of the reduction, in coarse samples
constexpr double kSplineVariance = 1.0 / 3;  // of the cubic B-spline, in coarse samples

int64_t floorDiv(int64_t a, int64_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

std::vector<double> normalised(std::vector<double> w) {
  double sum = 0;
  for (double v : w) sum += v;
  if (!(std::abs(sum) > 0)) return {1};
  for (double& v : w) v /= sum;
  return w;
}

// Samples of a Gaussian around `centre` of a grid, from `first` on.
std::vector<double> gaussian(double sigma, double centre, int64_t first, int64_t last) {
  std::vector<double> w;
  for (int64_t t = first; t <= last; ++t) {
    const double d = (static_cast<double>(t) - centre) / sigma;
    w.push_back(std::exp(-0.5 * d * d));
  }
  return normalised(std::move(w));
}

// The cubic B-spline's four weights at a fraction f beyond the second sample (Unser, "Splines", 1999).
void splineWeights(double f, double* w) {
  const double g = 1 - f;
  w[0] = g * g * g / 6;
  w[1] = (4 - 6 * f * f + 3 * f * f * f) / 6;
  w[2] = (4 - 6 * g * g + 3 * g * g * g) / 6;
  w[3] = f * f * f / 6;
}

AxisStage gaussianReduction(int factor) {
  const double centre = (factor - 1) / 2.0, sigma = kPrefilter * factor;
  const auto n = static_cast<int64_t>(std::ceil(kGaussianReach * sigma));
  const int64_t first = static_cast<int64_t>(std::floor(centre)) - n,
                last = static_cast<int64_t>(std::ceil(centre)) + n;
  return AxisStage::reduce(factor, gaussian(sigma, centre, first, last), first);
}

}  // namespace

AxisStage AxisStage::convolve(std::vector<double> weights, int64_t offset) {
  return reduce(1, std::move(weights), offset);
}

AxisStage AxisStage::reduce(int factor, std::vector<double> weights, int64_t offset) {
  AxisStage s;
  s.type_ = factor == 1 ? Type::convolve : Type::reduce;
  s.factor_ = factor;
  s.count_ = static_cast<int>(weights.size());
  s.offset_ = offset;
  s.weights_.assign(weights.begin(), weights.end());
  return s;
}

AxisStage AxisStage::area(double width, double origin) {
  const bool whole = width == std::floor(width) && origin == std::floor(origin);
  if (whole) {
    const std::vector<double> equal(static_cast<size_t>(width), 1 / width);
    return reduce(static_cast<int>(width), equal, static_cast<int64_t>(origin));
  }
  AxisStage s;
  s.type_ = Type::area;
  s.scale_ = width;
  s.inOrigin_ = origin;
  s.count_ = static_cast<int>(std::ceil(width)) + 1;
  return s;
}

AxisStage AxisStage::expand(int factor, bool cubic) {
  AxisStage s;
  s.type_ = Type::expand;
  s.factor_ = factor;
  s.count_ = cubic ? 4 : 2;
  s.cubic_ = cubic;
  return s;
}

AxisStage AxisStage::resample(const KernelOps* ops, const void* kernel, double scale, double outOrigin,
                              double outPitch, double inOrigin, double inPitch) {
  AxisStage s;
  s.type_ = Type::resample;
  s.ops_ = ops;
  s.kernel_ = kernel;
  s.scale_ = scale;
  s.outOrigin_ = outOrigin;
  s.outPitch_ = outPitch;
  s.inOrigin_ = inOrigin;
  s.inPitch_ = inPitch;
  // The profile spans the coarser of the two grids.
  const double unit = std::max(inPitch, outPitch / scale);
  s.count_ = 2 * static_cast<int>(std::ceil(ops->reach(kernel) * unit / inPitch)) + 1;
  return s;
}

AxisStage AxisStage::repeat(double outOrigin, double outPitch, double inOrigin, double inPitch) {
  AxisStage s;
  s.type_ = Type::repeat;
  s.outOrigin_ = outOrigin;
  s.outPitch_ = outPitch;
  s.inOrigin_ = inOrigin;
  s.inPitch_ = inPitch;
  const double unit = std::min(1.0, outPitch);
  s.count_ = static_cast<int>(std::ceil(outPitch / std::max(unit, inPitch - unit))) + 1;
  return s;
}

// The lower edge of a cell.
double AxisStage::edgeOf(int64_t cell) const {
  const double unit = std::min(1.0, outPitch_), base = outPitch_ <= 1 ? outOrigin_ : 0;
  const double edge = inOrigin_ + static_cast<double>(cell) * inPitch_;
  // A pixel belongs to the cell its middle lies in.
  return base + std::ceil((edge - base) / unit - 0.5) * unit;
}

double AxisStage::centreOf(int64_t o) const {
  const double place = (outOrigin_ + (static_cast<double>(o) + 0.5) * outPitch_) / scale_;
  return (place - inOrigin_) / inPitch_ - 0.5;
}

int64_t AxisStage::firstOf(int64_t o) const {
  switch (type_) {
    case Type::convolve:
    case Type::reduce:
      return o * factor_ + offset_;
    case Type::area:
      return static_cast<int64_t>(std::floor(static_cast<double>(o) * scale_ + inOrigin_));
    case Type::expand: {
      const int64_t cell = floorDiv(o, factor_);
      return cell - (2 * (o - cell * factor_) + 1 < factor_ ? 1 : 0) - (cubic_ ? 1 : 0);
    }
    case Type::resample:
      return static_cast<int64_t>(std::floor(centreOf(o))) - count_ / 2;
    case Type::repeat: {
      const double low = outOrigin_ + static_cast<double>(o) * outPitch_;
      auto cell = static_cast<int64_t>(std::floor((low - inOrigin_) / inPitch_));
      while (edgeOf(cell) > low) --cell;
      while (edgeOf(cell + 1) <= low) ++cell;
      return cell;
    }
  }
  return 0;
}

bool AxisStage::symmetric() const {
  return type_ == Type::convolve && count_ % 2 == 1 &&
         std::equal(weights_.begin(), weights_.end(), weights_.rbegin());
}

bool AxisStage::flat() const {
  return symmetric() && count_ >= 9 &&
         std::all_of(weights_.begin() + 1, weights_.end() - 1, [this](float w) { return w == weights_[1]; });
}

bool AxisStage::repeats(int64_t o) const {
  return type_ == Type::repeat &&
         edgeOf(firstOf(o) + 1) >= outOrigin_ + static_cast<double>(o + 2) * outPitch_;
}

int64_t AxisStage::weigh(int64_t o, float* weights) const {
  const int64_t first = firstOf(o);
  if (type_ == Type::convolve || type_ == Type::reduce) {
    std::copy(weights_.begin(), weights_.end(), weights);
    return first;
  }
  if (type_ == Type::expand) {
    const int64_t cell = floorDiv(o, factor_);
    const double place = (static_cast<double>(o - cell * factor_) + 0.5) / factor_ - 0.5;
    const double f = place < 0 ? place + 1 : place;
    double w[4] = {1 - f, f};
    if (cubic_) splineWeights(f, w);
    std::copy(w, w + count_, weights);
    return first;
  }
  if (type_ == Type::repeat) {
    const double low = outOrigin_ + static_cast<double>(o) * outPitch_, high = low + outPitch_;
    for (int t = 0; t < count_; ++t) {
      const double shared = std::min(high, edgeOf(first + t + 1)) - std::max(low, edgeOf(first + t));
      weights[t] = static_cast<float>(std::max(0.0, shared / outPitch_));
    }
    return first;
  }
  if (type_ == Type::area) {
    const double begin = static_cast<double>(o) * scale_ + inOrigin_, end = begin + scale_;
    for (int t = 0; t < count_; ++t) {
      const auto low = static_cast<double>(first + t);
      weights[t] = static_cast<float>(std::max(0.0, std::min(low + 1, end) - std::max(low, begin)) / scale_);
    }
    return first;
  }
  const double centre = centreOf(o), unit = std::max(inPitch_, outPitch_ / scale_) / inPitch_;
  double sum = 0;
  for (int t = 0; t < count_; ++t) {
    const double d = (static_cast<double>(first + t) - centre) / unit;
    const double v = std::abs(d) < ops_->reach(kernel_) ? ops_->profile(kernel_, d) : 0;
    weights[t] = static_cast<float>(v);
    sum += v;
  }
  for (int t = 0; t < count_; ++t) weights[t] = static_cast<float>(weights[t] / sum);
  return first;
}

IndexRange AxisStage::inputFor(const IndexRange& out) const {
  if (out.size() == 0) return {};
  const int64_t begin = firstOf(out.begin), end = firstOf(out.end - 1);
  return {std::min(begin, end), std::max(begin, end) + count_};
}

IndexRange AxisStage::outputFor(const IndexRange& in) const {
  if (in.size() == 0) return {};
  return {floorDiv(in.begin - offset_ - count_ + 1, factor_), floorDiv(in.end - 1 - offset_, factor_) + 1};
}

namespace {

// The weights of a profile on samples `pitch` apart, from -n to n, summing to 1.
std::vector<double> profileWeights(const KernelOps* ops, const void* kernel, double pitch) {
  const bool smooth = ops->smooth && ops->smooth(kernel) > 0;
  const double reach = ops->reach(kernel) / pitch;
  // A profile with edges is averaged over each sample; a smooth one is taken at its middle.
  constexpr int parts = 16;
  // The pixels that lie within an output sample.
  const int pixels = smooth ? 1 : std::clamp(static_cast<int>(std::lround(pitch)), 1, 16);
  const auto n = static_cast<int64_t>(
      std::ceil(smooth ? reach : std::max(0.0, reach - 0.5 + 0.5 * (pixels - 1) / pixels)));
  std::vector<double> weights;
  for (int64_t t = -n; t <= n; ++t) {
    double sum = 0;
    for (int k = 0; k < parts * pixels; ++k) {
      const int pixel = k % pixels, p = k / pixels;
      const double within = (p + 0.5) / parts - 0.5 + (pixel + 0.5) / pixels - 0.5;
      const double place = static_cast<double>(t) + (smooth ? 0 : within);
      if (std::abs(place) <= reach) sum += ops->profile(kernel, place * pitch);
    }
    weights.push_back(sum);
  }
  return normalised(std::move(weights));
}

}  // namespace

std::vector<AxisStage> separableStages(const KernelOps* ops, const void* kernel, double pitch, bool direct) {
  const double sigma = ops->smooth ? ops->smooth(kernel) / pitch : 0;
  if (sigma < 5) {
    std::vector<double> weights = profileWeights(ops, kernel, pitch);
    const auto n = static_cast<int64_t>(weights.size() / 2);
    return {AxisStage::convolve(std::move(weights), -n)};
  }
  if (direct) {
    const auto n = static_cast<int64_t>(std::ceil(kExactReach * sigma));
    return {AxisStage::convolve(gaussian(sigma, 0, -n, n), -n)};
  }
  const int factor = 1 << static_cast<int>(std::floor(std::log2(sigma / 2.5)));
  const double coarse =
      std::sqrt(sigma * sigma / factor / factor - kPrefilter * kPrefilter - kSplineVariance);
  const auto n = static_cast<int64_t>(std::ceil(kGaussianReach * coarse));
  return {gaussianReduction(factor), AxisStage::convolve(gaussian(coarse, 0, -n, n), -n),
          AxisStage::expand(factor, true)};
}

Chords chordsOf(const KernelOps* ops, const void* kernel, double pitch) {
  constexpr double slack = 1e-6;  // what rounding took from a whole number of samples
  Chords chords{{}, ops->greatest};
  const auto height = static_cast<int64_t>(std::floor(ops->reach(kernel) / pitch + slack));
  for (int64_t d = 0; d <= height; ++d)
    chords.halves.push_back(
        static_cast<int64_t>(std::floor(ops->chord(kernel, static_cast<double>(d) * pitch) / pitch + slack)));
  return chords;
}

namespace {

// A line through the middle of a sample, in steps along the axis that it is closer to.
struct Line {
  bool alongX;
  double slope;
  std::vector<double> weights;  // from -n to n steps, their sum is 1
  int64_t half() const { return static_cast<int64_t>(weights.size()) / 2; }

  // Splits a weight between the two samples next to a place on the line.
  void add(std::vector<LineTap>& taps, int64_t along, double across, double w, int part) const {
    constexpr double slack = 1e-6;
    const double low = std::floor(across + slack), f = std::max(0.0, across - low);
    addTap(taps, along, static_cast<int64_t>(low), w * (1 - f), part);
    if (f > slack) addTap(taps, along, static_cast<int64_t>(low) + 1, w * f, part);
  }
  void addTap(std::vector<LineTap>& taps, int64_t along, int64_t across, double w, int part) const {
    const int x = static_cast<int>(alongX ? along : across), y = static_cast<int>(alongX ? across : along);
    if (w > 0) taps.push_back({x, y, static_cast<float>(w), part});
  }
};

Line lineOf(const KernelOps* ops, const void* kernel, double pitch) {
  const Vec2 d = ops->direction(kernel);
  const bool alongX = std::abs(d.x) >= std::abs(d.y);
  const double major = alongX ? d.x : d.y, minor = alongX ? d.y : d.x;
  const double slope = major == 0 ? 0 : minor / major, step = pitch * std::sqrt(1 + slope * slope);
  const double reach = ops->reach(kernel);
  const auto n = static_cast<int64_t>(std::ceil(reach / step));
  std::vector<double> weights;
  for (int64_t k = -n; k <= n; ++k) {
    const double distance = std::abs(static_cast<double>(k)) * step;
    weights.push_back(distance <= reach || k == 0 ? ops->profile(kernel, distance) : 0);
  }
  return {alongX, slope, normalised(std::move(weights))};
}

// The longest pieces that begin at samples wherever they lie on the line, or 0. Over a 50th of the line the
// profile hardly changes: the mean of a piece stays below what 8 bit can show.
int64_t pieceLength(const Line& line) {
  constexpr double slack = 1e-6;
  for (auto length = static_cast<int64_t>(line.weights.size()) / 50; length > 1; --length) {
    const double rise = static_cast<double>(length) * line.slope;
    if (std::abs(rise - std::nearbyint(rise)) < slack) return length;
  }
  return 0;
}

// Along other slopes pieces begin between rows. They are made for so many places there, and lie between two.
constexpr int64_t kPhases = 8;

// The length of such pieces, or 0 where they would save nothing: their rows are many, and leave the caches.
int64_t phasedLength(const Line& line) {
  const auto size = static_cast<int64_t>(line.weights.size()), length = std::min(size / 50, kPhases);
  const int64_t terms = length > 1 ? 2 * (kPhases * length + size / length + length) : size;
  return 3 * terms <= 2 * size ? length : 0;
}

// One tap for a piece that begins at a place between rows, or two for what lies between two places.
void addPiece(const Line& line, std::vector<LineTap>& taps, int64_t along, double row, double weight,
              int64_t phases) {
  constexpr double slack = 1e-6;
  const double place = row * static_cast<double>(phases);
  const auto below = static_cast<int64_t>(std::floor(place + slack));
  const double beyond = std::max(0.0, place - static_cast<double>(below));
  for (const int64_t next : {below, below + 1}) {
    const int64_t low = floorDiv(next, phases);
    const double share = next == below ? 1 - beyond : beyond;
    if (share > slack) line.addTap(taps, along, low, weight * share, static_cast<int>(next - low * phases));
  }
}

LineSum inPieces(const Line& line, int64_t length, int64_t phases) {
  const int64_t half = line.half(), begin = -half / length * length, end = (half + 1) / length * length;
  const auto row = [&line](int64_t k) { return static_cast<double>(k) * line.slope; };
  const auto weight = [&](int64_t k) { return line.weights[static_cast<size_t>(k + half)]; };
  LineSum sum;
  for (int64_t p = 0; p < phases; ++p) {
    const double first = static_cast<double>(p) / static_cast<double>(phases);
    sum.parts.emplace_back();
    for (int64_t t = 0; t < length; ++t)
      line.add(sum.parts.back(), t, first + row(t), 1.0 / static_cast<double>(length), 0);
  }
  for (int64_t k = begin; k < end; k += length) {
    double all = 0;
    for (int64_t t = k; t < k + length; ++t) all += weight(t);
    addPiece(line, sum.whole, k, row(k), all, phases);
  }
  // The ends, where the profile is cut off, are taken sample by sample.
  for (int64_t k = -half; k <= half; ++k)
    if (k < begin || k >= end) line.add(sum.whole, k, row(k), weight(k), static_cast<int>(phases));
  return sum;
}

}  // namespace

LineSum lineSum(const KernelOps* ops, const void* kernel, double pitch, bool direct) {
  const Line line = lineOf(ops, kernel, pitch);
  if (const int64_t length = pieceLength(line); length > 0 && !direct) return inPieces(line, length, 1);
  if (const int64_t length = phasedLength(line); length > 0 && !direct)
    return inPieces(line, length, kPhases);
  LineSum sum;
  for (int64_t k = -line.half(); k <= line.half(); ++k)
    line.add(sum.whole, k, static_cast<double>(k) * line.slope,
             line.weights[static_cast<size_t>(k + line.half())], 0);
  return sum;
}

}  // namespace vello
