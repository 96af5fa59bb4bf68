// What the renders of one session share. While somebody turns one control, most of a recipe stays as it was:
// the roots of what two successive recipes have in common are kept as samples, from the second sighting on.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "engine/image/node.h"
#include "engine/render/kept_samples.h"
#include "engine/render/texel_pyramid.h"

namespace vello {

// Safe from any thread. Holds at most some samples of few recipes, enough for two or three at every pitch
// that a drag shows; the least recently used go first.
class RenderCache {
 public:
  explicit RenderCache(int64_t bytes = int64_t{256} << 20, size_t recipes = 12);

  int64_t bytes() const { return bytes_; }
  // Of a recipe on a lattice, or null.
  std::shared_ptr<const KeptSamples> find(const Digest& recipe, const Lattice& lattice);
  // Ones that are too large are not kept.
  void keep(std::shared_ptr<const KeptSamples> samples);
  // Forgets samples that turned out not to reach far enough.
  void drop(const KeptSamples& samples);
  // Of a source that many renders show small.
  std::shared_ptr<TexelPyramid> pyramidOf(const Bitmap& source);
  // Takes note of a recipe that is rendered, and returns the roots of what it has in common with the one
  // before.
  std::vector<NodePtr> inCommonWithLast(const NodePtr& recipe);

 private:
  const int64_t bytes_;
  const size_t recipes_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<const KeptSamples>> kept_;  // the latest used first
  std::vector<std::shared_ptr<TexelPyramid>> pyramids_;   // the latest used first
  std::set<Digest> last_;
};

}  // namespace vello
