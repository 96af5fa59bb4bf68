// Recipes that only place a bitmap: its texels can be read directly.
#pragma once

#include <cmath>
#include <optional>

#include "engine/filters/kernel_ops.h"
#include "engine/image/node.h"

namespace vello {

inline bool isKernel(const Node& node, Kind kind) {
  return node.type == Node::Type::kernel && node.ops->kind == kind;
}

// What an image is, but for saying that it reaches everywhere.
inline const NodePtr& passUnbounded(const NodePtr& node) {
  const NodePtr* at = &node;
  while ((*at)->type == Node::Type::unbounded) at = &(*at)->inputs[0];
  return *at;
}

// A bitmap read through at most one transform, a clamp and crops.
struct SourceChain {
  NodePtr source;
  CGAffineTransform toTexel;  // image place to texel place, y upwards
  CGRect valid;               // in texel places
  bool clamp = false;
};

// Of an image that is one: null for all others.
std::optional<SourceChain> sourceChain(const NodePtr& image);

inline bool isWhole(double v) { return v == std::floor(v); }

}  // namespace vello
