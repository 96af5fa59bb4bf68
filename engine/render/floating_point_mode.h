// The floating-point mode every job computes in, whatever its thread inherited from the host: round to
// nearest, denormals are zero. Restored at the end.
#pragma once

#if defined(__SSE2__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

namespace vello {

class FloatingPointMode {
 public:
#if defined(__SSE2__)
  FloatingPointMode() : saved_(_mm_getcsr()) { _mm_setcsr(kMode); }
  ~FloatingPointMode() { _mm_setcsr(saved_); }

 private:
  // All exceptions masked, round to nearest, flush to zero, denormals are zero.
  static constexpr unsigned kMode = 0x1F80 | 0x8000 | 0x0040;
  unsigned saved_;
#else
  FloatingPointMode() {
    std::fegetenv(&saved_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~FloatingPointMode() { std::fesetenv(&saved_); }

 private:
  std::fenv_t saved_;
#endif

 public:
  FloatingPointMode(const FloatingPointMode&) = delete;
  FloatingPointMode& operator=(const FloatingPointMode&) = delete;
};

}  // namespace vello
