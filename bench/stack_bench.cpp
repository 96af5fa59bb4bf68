// The designer's stack (exposure, colour matrix, blur, multiply, vignette, unsharp, crop) from 1 to 100
// megapixels: the time of a pixel should not grow with their number.
#include "bench/bench_scene.h"

namespace vello::bench {
namespace {

void stackBySize(benchmark::State& state) {
  const Scene& scene = sceneOf(static_cast<double>(state.range(0)));
  const CIImage image = designersStack(scene);
  timedRender(state, image, image.extent(), static_cast<int>(state.range(1)));
}
BENCHMARK(stackBySize)
    ->ArgNames({"MP", "threads"})
    ->ArgsProduct({{1, 4, 12, 24, 48, 100}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseManualTime();

}  // namespace
}  // namespace vello::bench
