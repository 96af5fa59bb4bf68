// CIImage: an immutable recipe for pixels. Making one costs microseconds and touches no pixel; copies share.
#pragma once

#include <memory>

#include "engine/image/extent.h"
#include "platform/bitmap.h"
#include "platform/geometry.h"

namespace vello {

struct Node;
using NodePtr = std::shared_ptr<const Node>;

class CIImage {
 public:
  CIImage() = default;  // nil: no image at all
  explicit CIImage(NodePtr node) : node_(std::move(node)) {}
  // The picture's lower left corner lies at the origin. An empty bitmap gives nil.
  static CIImage imageWithBitmap(const Bitmap& bitmap);
  // Transparent everywhere, empty extent.
  static CIImage emptyImage();

  bool isNil() const { return node_ == nullptr; }
  // {{0, 0}, {0, 0}} for nil.
  CGRect extent() const;
  CIImage imageByApplyingTransform(const CGAffineTransform& transform) const;
  CIImage imageByCroppingToRect(const CGRect& rect) const;
  // The edge pixels repeated without end.
  CIImage imageByClampingToExtent() const;
  // The bitmap this image shows unchanged (untransformed, uncropped), or nullptr.
  const Bitmap* sourceBitmap() const;

  const NodePtr& node() const { return node_; }
  // The same recipe, whoever built it.
  friend bool operator==(const CIImage& a, const CIImage& b);

 private:
  NodePtr node_;
};

}  // namespace vello
