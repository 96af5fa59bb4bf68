#include "engine/render/buffer.h"

namespace vello {

void unpremultiply(const Run& run, int64_t n) {
  for (int64_t i = 0; i < n; ++i) {
    const float a = run.a[i] == 0.0f ? 1.0f : run.a[i];
    run.r[i] /= a;
    run.g[i] /= a;
    run.b[i] /= a;
  }
}

void premultiply(const Run& run, int64_t n) {
  for (int64_t i = 0; i < n; ++i) {
    run.r[i] *= run.a[i];
    run.g[i] *= run.a[i];
    run.b[i] *= run.a[i];
  }
}

}  // namespace vello
