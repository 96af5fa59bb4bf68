// Extents: where an image may differ from transparent black, in image units, y upwards.
#pragma once

#include "platform/geometry.h"

namespace vello {

// What an unbounded image reports as its extent: minus half of the largest float, and the largest float, both
// widened. Compared for exact equality.
inline constexpr CGRect kInfiniteExtent{{-1.7014117331926443e38, -1.7014117331926443e38},
                                        {3.4028234663852886e38, 3.4028234663852886e38}};

bool isInfinite(const CGRect& r);
// Width or height not above 0, or a component that is no number.
bool isEmpty(const CGRect& r);
// Both keep the infinite rectangle exact; an empty one is {{0, 0}, {0, 0}}.
CGRect intersection(const CGRect& a, const CGRect& b);
CGRect unionOf(const CGRect& a, const CGRect& b);
// Grown by dx on the left and right and dy below and above.
CGRect grown(const CGRect& r, double dx, double dy);
// The smallest rectangle with whole corners around r.
CGRect roundedOut(const CGRect& r);

}  // namespace vello
