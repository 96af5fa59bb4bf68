// Visits the nodes of a recipe, each of equal digest once, from the root on.
#pragma once

#include <set>
#include <vector>

#include "engine/image/node.h"

namespace vello {

// Those below a node only where `visit(node)` says so.
template <class Visit>
void eachNode(const NodePtr& recipe, Visit visit) {
  std::set<Digest> seen;
  std::vector<NodePtr> open{recipe};
  while (!open.empty()) {
    const NodePtr node = open.back();
    open.pop_back();
    if (!seen.insert(node->digest).second || !visit(node)) continue;
    open.insert(open.end(), node->inputs.begin(), node->inputs.end());
  }
}

}  // namespace vello
