// How much quicker two threads are than one, over every kind of kernel.
#include <functional>
#include <thread>

#include "bench/kernel_cases.h"

namespace vello::bench {
namespace {

constexpr double kMegapixels = 4;
constexpr int kRuns = 60;

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Nothing that cores share: what two of them can do at most.
void calculate() {
  float sums[64] = {};
  for (int i = 0; i < 2000000; ++i) {
    for (float& sum : sums) sum = sum * 0.999f + 1;
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(sums[0]);
}

void calculateTwice() {
  std::thread other(calculate);
  calculate();
  other.join();
}

// One thread and two in turn, and the quickest run of each: what else goes on in a machine slows down some of
// them, and two cores more often than one.
void twoAgainstOne(benchmark::State& state, const Case& one) {
  const Scene& scene = sceneOf(kMegapixels);
  const CIImage image = one.image(scene);
  if (image.isNil()) return state.SkipWithError("there is no such filter yet");
  std::vector<uint8_t> pixels(static_cast<size_t>(scene.width) * static_cast<size_t>(scene.height) * 4);
  const auto render = [&](int threads) {
    ContextOptions options;
    options.threads = threads;
    const std::string error = CIContext(options).render(
        {image, scene.rect()}, bytesLayout(scene.width, scene.height), ColorSpace::sRGB(), pixels.data());
    if (!error.empty()) state.SkipWithError(error.c_str());
  };
  double quickest[4] = {1e9, 1e9, 1e9, 1e9};
  for (auto _ : state) {
    const std::function<void()> works[] = {[&] { render(1); }, [&] { render(2); }, calculate, calculateTwice};
    double all = 0;
    for (size_t k = 0; k < 4; ++k) {
      const double took = secondsOf(works[k]);
      quickest[k] = std::min(quickest[k], took);
      all += took;
    }
    state.SetIterationTime(all);
  }
  state.counters["one_ms"] = quickest[0] * 1e3;
  state.counters["two_ms"] = quickest[1] * 1e3;
  state.counters["times"] = quickest[0] / quickest[1];
  state.counters["possible"] = 2 * quickest[2] / quickest[3];
}

void addAll() {
  for (const Case& one : kCases)
    benchmark::RegisterBenchmark(one.name, [&one](benchmark::State& state) { twoAgainstOne(state, one); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(kRuns)
        ->UseManualTime();
}

[[maybe_unused]] const bool added = (addAll(), true);

}  // namespace
}  // namespace vello::bench
