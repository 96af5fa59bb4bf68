// Colour filters that are a matrix; several in a row become one.
#pragma once

#include "engine/filters/kernel_ops.h"
#include "engine/image/image.h"

namespace vello {

// Multiplies by the matrix that five vectors give: every channel of the straight colour is a dot product with
// a vector, plus a bias.
extern const KernelOps kColorMatrixKernel;

// `ops` over an image that is the result of a linear kernel itself: both matrices over that one's image. nil
// where they cannot be one: between them colour must survive, so the first keeps alpha, and the numbers stay
// those a filter may have.
CIImage joinedMatrices(const KernelOps* ops, const Values& values, const CIImage& image);

}  // namespace vello
