#include "engine/plan/sample_request.h"

#include <algorithm>
#include <cmath>

#include "engine/plan/source_chain.h"

namespace vello {
namespace {

// How often the pitch should be halved before the node is computed.
int wantedHalvings(const Node* node, double pitch, Quality quality) {
  const auto own = [=](const Node& n) {
    if (n.type == Node::Type::crop || n.type == Node::Type::unbounded) return kAsItsImage;
    return n.type == Node::Type::kernel && n.ops->halvings ? n.ops->halvings(n.values, pitch) : 0;
  };
  while (own(*node) == kAsItsImage) node = node->inputs[0].get();
  if (node->type == Node::Type::kernel) {
    const bool inPlace = node->ops->kind == Kind::point || node->ops->kind == Kind::blend;
    const int wanted = own(*node);
    return inPlace && wanted < kToFullSize && quality == Quality::lean ? 0 : wanted;
  }
  // An edge that is repeated is one pixel wide.
  if (node->type == Node::Type::affine) node = passUnbounded(node->inputs[0]).get();
  return node->type == Node::Type::clamp ? kToFullSize : 0;
}

}  // namespace

int finerBy(const SampleRequest& request) {
  constexpr double finest = 0.75;  // a full-size sample, or a little less
  const Lattice& l = request.lattice;
  if (l.quality == Quality::draft || l.pitch < 2 * finest) return 0;
  const int wanted = wantedHalvings(request.node.get(), std::ldexp(l.pitch, l.halved), l.quality);
  return std::clamp(wanted - l.halved, 0, static_cast<int>(std::log2(l.pitch / finest)));
}

SampleRequest finer(const SampleRequest& request) {
  const int by = finerBy(request);
  const Lattice& l = request.lattice;
  return {request.node, {l.ox, l.oy, std::ldexp(l.pitch, -by), l.quality, l.halved + by}};
}

}  // namespace vello
