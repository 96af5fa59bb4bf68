// The nodes recipes are made of. Immutable once built; extents and digests are computed when a node is made.
#pragma once

#include <memory>
#include <vector>

#include "engine/filters/values.h"
#include "engine/image/digest.h"
#include "engine/image/image.h"
#include "platform/bitmap.h"

namespace vello {

struct KernelOps;

struct Node {
  enum class Type {
    empty,      // transparent everywhere
    source,     // a bitmap, its lower left corner at the origin
    affine,     // the input moved by `transform`, sampled once
    crop,       // the input inside `rect`
    clamp,      // the input's edge samples repeated without end; `rect` is the rectangle whose edges they are
    unbounded,  // the input unchanged, but said to reach everywhere
    kernel,     // `ops` over the inputs
  };
  Type type = Type::empty;
  Digest digest;
  CGRect extent;
  std::vector<NodePtr> inputs;
  Bitmap bitmap;
  CGAffineTransform transform;
  CGRect rect;
  const KernelOps* ops = nullptr;
  Values values;

  Node() = default;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  // Lets go of long chains without recursion.
  ~Node();
};

// The builders fold what can be folded when it is built, so that every renderer sees the same recipe.
CIImage affine(const CIImage& input, const CGAffineTransform& transform);
CIImage crop(const CIImage& input, const CGRect& rect);
CIImage clampEdges(const CIImage& input, const CGRect& rect);
CIImage unbounded(const CIImage& input);
// nil when an image is nil. The images stand in the order of the filter's image inputs.
CIImage applyKernel(const KernelOps* ops, const Values& values, std::vector<CIImage> images);

}  // namespace vello
