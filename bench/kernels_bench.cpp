// Every kind of kernel alone, 8 bit in and out, on one core and on two.
#include "bench/kernel_cases.h"

namespace vello::bench {
namespace {

constexpr double kMegapixels = 6;

void addAll() {
  for (const Case& one : kCases)
    for (int threads : {1, 2})
      benchmark::RegisterBenchmark((std::string(one.name) + "/threads:" + std::to_string(threads)).c_str(),
                                   [&one, threads](benchmark::State& state) {
                                     const Scene& scene = sceneOf(kMegapixels);
                                     timedRender(state, one.image(scene), scene.rect(), threads);
                                   })
          ->Unit(benchmark::kMillisecond)
          ->MeasureProcessCPUTime()
          ->UseManualTime();
}

[[maybe_unused]] const bool added = (addAll(), true);

}  // namespace
}  // namespace vello::bench
