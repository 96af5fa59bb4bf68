#include "engine/render/render_cache.h"

#include <algorithm>

#include "engine/image/each_node.h"

namespace vello {
namespace {

bool isOf(const KeptSamples& kept, const Digest& recipe, const Lattice& lattice) {
  return kept.recipe == recipe && kept.lattice == lattice;
}

double bytesOf(const KeptSamples& kept) { return Buffer::bytesFor(kept.samples.rect()); }

}  // namespace

RenderCache::RenderCache(int64_t bytes, size_t recipes) : bytes_(bytes), recipes_(recipes) {}

std::shared_ptr<const KeptSamples> RenderCache::find(const Digest& recipe, const Lattice& lattice) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(kept_.begin(), kept_.end(),
                                  [&](const auto& kept) { return isOf(*kept, recipe, lattice); });
  if (found == kept_.end()) return nullptr;
  std::rotate(kept_.begin(), found, found + 1);
  return kept_.front();
}

void RenderCache::keep(std::shared_ptr<const KeptSamples> samples) {
  const std::lock_guard lock(mutex_);
  kept_.insert(kept_.begin(), std::move(samples));
  double held = 0;
  size_t count = 0;
  while (count < std::min(recipes_, kept_.size()) &&
         held + bytesOf(*kept_[count]) <= static_cast<double>(bytes_))
    held += bytesOf(*kept_[count++]);
  kept_.resize(count);
}

void RenderCache::drop(const KeptSamples& samples) {
  const std::lock_guard lock(mutex_);
  std::erase_if(kept_, [&](const auto& kept) { return kept.get() == &samples; });
}

std::shared_ptr<TexelPyramid> RenderCache::pyramidOf(const Bitmap& source) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(pyramids_.begin(), pyramids_.end(), [&](const auto& pyramid) {
    return pyramid->source().serial() == source.serial();
  });
  if (found != pyramids_.end()) {
    std::rotate(pyramids_.begin(), found, found + 1);
    return pyramids_.front();
  }
  pyramids_.insert(pyramids_.begin(), std::make_shared<TexelPyramid>(source));
  int64_t held = 0;
  size_t count = 0;
  while (count < pyramids_.size() && held + pyramids_[count]->bytes() <= bytes_)
    held += pyramids_[count++]->bytes();
  std::shared_ptr<TexelPyramid> made = pyramids_.front();
  pyramids_.resize(count);
  return made;
}

std::vector<NodePtr> RenderCache::inCommonWithLast(const NodePtr& recipe) {
  const std::lock_guard lock(mutex_);
  std::vector<NodePtr> roots;
  // A common node may lie below another one and still be read by a changed one as well.
  eachNode(recipe, [&](const NodePtr& node) {
    const bool common = last_.count(node->digest) != 0;
    if (common) roots.push_back(node);
    return !common;
  });
  last_.clear();
  eachNode(recipe, [&](const NodePtr& node) {
    last_.insert(node->digest);
    return true;
  });
  return roots;
}

}  // namespace vello
