#include "engine/plan/source_chain.h"

#include "engine/image/extent.h"

namespace vello {

std::optional<SourceChain> sourceChain(const NodePtr& start) {
  NodePtr node = passUnbounded(start);
  SourceChain chain{nullptr, {}, kInfiniteExtent, false};
  if (node->type == Node::Type::affine) {
    chain.toTexel = CGAffineTransformInvert(node->transform);
    node = passUnbounded(node->inputs[0]);
  }
  const auto take = [&chain](const CGRect& r) {
    chain.valid = intersection(chain.valid, r);
    return isWhole(r.origin.x) && isWhole(r.origin.y) && isWhole(r.size.width) && isWhole(r.size.height);
  };
  CGRect clampRect{};
  if (node->type == Node::Type::clamp) {
    chain.clamp = true;
    clampRect = node->rect;
    if (!take(clampRect)) return std::nullopt;
    node = passUnbounded(node->inputs[0]);
  }
  while (node->type == Node::Type::crop) {
    if (!isInfinite(node->rect) && !take(node->rect)) return std::nullopt;
    node = passUnbounded(node->inputs[0]);
  }
  if (node->type != Node::Type::source && !isKernel(*node, Kind::raster) && !isKernel(*node, Kind::frame))
    return std::nullopt;
  if (!take(node->extent) || isInfinite(node->extent)) return std::nullopt;
  // Edges can only be repeated where there are texels.
  if (chain.clamp && !(chain.valid == clampRect)) return std::nullopt;
  chain.source = node;
  return chain;
}

}  // namespace vello
