// Plain geometry records, laid out like the host platform's own, and affine transforms. y grows upwards.
#pragma once

namespace vello {

using CGFloat = double;

struct CGPoint {
  CGFloat x = 0, y = 0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  CGFloat width = 0, height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
  CGPoint origin;
  CGSize size;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

// x' = a x + c y + tx, y' = b x + d y + ty.
struct CGAffineTransform {
  CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

// Applies `first`, then `second`.
CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& first, const CGAffineTransform& second);
// The singular transform comes back unchanged.
CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t);
CGPoint CGPointApplyAffineTransform(CGPoint p, const CGAffineTransform& t);
// The bounding box of the transformed corners.
CGRect CGRectApplyAffineTransform(const CGRect& r, const CGAffineTransform& t);

}  // namespace vello
