// The designer's stack (exposure, colour matrix, blur, multiply, vignette, unsharp, crop) from 1 to 100
// megapixels: the time of a pixel should not grow with their number. And its preview while one slider moves.
#include "bench/bench_scene.h"

namespace vello::bench {
namespace {

void stackBySize(benchmark::State& state) {
  const Scene& scene = sceneOf(static_cast<double>(state.range(0)));
  const CIImage image = designersStack(scene);
  timedRender(state, image, {image.extent(), 1, static_cast<int>(state.range(1))});
}
BENCHMARK(stackBySize)
    ->ArgNames({"MP", "threads"})
    ->ArgsProduct({{1, 4, 12, 24, 48, 100}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseManualTime();

// A whole-picture preview of about 1600 x 1000, as a session renders it. Each run has another value, as while
// a slider moves: only what comes before the changed filter can have been kept from the run before.
template <class Recipe>
void preview(benchmark::State& state, const Recipe& recipe) {
  const Scene& scene = sceneOf(static_cast<double>(state.range(0)));
  const CGRect rect = designersStack(scene).extent();
  const double pitch = std::max(rect.size.width / 1600, rect.size.height / 1000);
  timedRenders(state, {rect, pitch, 0, std::make_shared<RenderCache>()},
               [&](int64_t run) { return recipe(scene, 0.001 * static_cast<double>(run % 500)); });
}

void previewFirstFilterMoves(benchmark::State& state) {
  preview(state, [](const Scene& scene, double step) { return designersStack(scene, 0.1 + step); });
}
void previewLastFilterMoves(benchmark::State& state) {
  preview(state, [](const Scene& scene, double step) { return designersStack(scene, 0.3, 0.2 + step); });
}
// Nothing moves: what is left when all can be kept.
void previewNothingMoves(benchmark::State& state) {
  preview(state, [](const Scene& scene, double) { return designersStack(scene); });
}

void sizes(benchmark::internal::Benchmark* b) {
  b->ArgName("MP")
      ->Arg(24)
      ->Arg(100)
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime()
      ->UseManualTime()
      ->Iterations(40);
}
BENCHMARK(previewFirstFilterMoves)->Apply(sizes);
BENCHMARK(previewLastFilterMoves)->Apply(sizes);
BENCHMARK(previewNothingMoves)->Apply(sizes);

}  // namespace
}  // namespace vello::bench
