// What frames of a preview cost, learnt from the ones before: so the machine, the filters and what a cache
// has kept all count, and nothing about them has to be known.
#pragma once

#include <array>
#include <map>
#include <set>

#include "engine/image/node.h"

namespace vello {

// While the user drags, frames have samples of 1, 2 or 4 times the pitch of a frame at rest.
inline constexpr std::array<int, 3> kFrameScales{1, 2, 4};

class FrameCosts {
 public:
  // Frames of one shape cost alike: those of the same filters, whatever their values, of which the same ones
  // have changed since the frame before. Takes note of the recipe as the one before the next.
  Digest shapeOf(const NodePtr& recipe);
  // Seconds that a frame of `samples` samples will take; `scale` is an index of kFrameScales. What was not
  // seen at one scale is guessed from another, or from other shapes.
  double predicted(const Digest& shape, size_t scale, double samples) const;
  void learn(const Digest& shape, size_t scale, double samples, double seconds);
  // The finest scale whose frame is predicted to fit the budget, else the coarsest. `samples` at scale 1.
  // To become finer than the last choice, a frame must fit well, so that a drag does not go to and fro.
  size_t finestWithin(double budget, const Digest& shape, double samples);

 private:
  using PerSample = std::array<double, kFrameScales.size()>;  // seconds; 0: not known
  double perSample(const Digest& shape, size_t scale) const;

  std::map<Digest, PerSample> known_;
  std::set<Digest> before_;
  size_t chosen_ = 0;
  // Per sample, the dearest of late of any shape. To begin with, a long stack on a slow machine.
  double dearest_ = 30e-9;
};

}  // namespace vello
