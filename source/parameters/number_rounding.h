// Numbers rounded in decimal, as a user reads them.
#pragma once

namespace vello {

// `value` with at most `fractionDigits` digits behind the point, ties toward zero. What is rounded is the
// shortest decimal text of the single-precision number, so 0.0125 is a tie although no binary number is.
double numberWithFloat(float value, int fractionDigits);

}  // namespace vello
