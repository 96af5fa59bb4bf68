#include "engine/render/frame_costs.h"

#include <algorithm>

#include "engine/image/each_node.h"

namespace vello {
namespace {

constexpr size_t kMostShapes = 64;
constexpr double kLeast = 1e-12;  // seconds for a sample
// Of a new measurement: costs that rise are believed at once, those that fall may be luck.
constexpr double kRiseShare = 0.7, kFallShare = 0.3;
constexpr double kFitsWell = 0.75;

double samplesAt(size_t scale, double samples) {
  return samples / (kFrameScales[scale] * kFrameScales[scale]);
}

}  // namespace

// Its values do not count, nor what lies below a part that has stayed the same: there is nothing to compute.
Digest FrameCosts::shapeOf(const NodePtr& recipe) {
  DigestBuilder shape;
  eachNode(recipe, [&](const NodePtr& node) {
    const bool stays = before_.count(node->digest) != 0;
    shape.add(static_cast<uint64_t>(node->type)).add(uint64_t{stays});
    shape.add(uint64_t{reinterpret_cast<uintptr_t>(node->ops)});
    return !stays;
  });
  before_.clear();
  eachNode(recipe, [&](const NodePtr& node) { return before_.insert(node->digest).second; });
  return shape.digest();
}

double FrameCosts::perSample(const Digest& shape, size_t scale) const {
  const auto found = known_.find(shape);
  if (found == known_.end()) return dearest_;
  const PerSample& seen = found->second;
  if (seen[scale] > 0) return seen[scale];
  // The nearest scale that is known.
  for (size_t away = 1; away < seen.size(); ++away)
    for (const size_t other : {scale - away, scale + away})
      if (other < seen.size() && seen[other] > 0) return seen[other];
  return dearest_;
}

double FrameCosts::predicted(const Digest& shape, size_t scale, double samples) const {
  return perSample(shape, scale) * samples;
}

void FrameCosts::learn(const Digest& shape, size_t scale, double samples, double seconds) {
  const double measured = std::max(kLeast, seconds / std::max(1.0, samples)),
               expected = perSample(shape, scale);
  dearest_ = std::max(measured, 0.9 * dearest_);
  if (known_.size() >= kMostShapes && !known_.count(shape)) known_.clear();
  PerSample& seen = known_[shape];
  const bool first = seen[scale] == 0, rises = measured > expected;
  const double share = first ? 1 : rises ? kRiseShare : kFallShare;
  const double factor = 1 + share * (measured / expected - 1);
  seen[scale] = first ? expected : seen[scale];
  // What made this scale dearer or cheaper, such as another value or another load, does so at all of them.
  // But that it is dearer than another one from the first may well be so.
  for (double& each : seen)
    if (&each == &seen[scale] || !(first && rises)) each *= factor;
}

size_t FrameCosts::finestWithin(double budget, const Digest& shape, double samples) {
  const auto fits = [&](size_t scale) {
    const double allowed = scale < chosen_ ? kFitsWell * budget : budget;
    return predicted(shape, scale, samplesAt(scale, samples)) <= allowed;
  };
  size_t scale = 0;
  while (scale + 1 < kFrameScales.size() && !fits(scale)) ++scale;
  return chosen_ = scale;
}

}  // namespace vello
