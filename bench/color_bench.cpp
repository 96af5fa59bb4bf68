// Runs of colour filters, 8 bit in and out: what a further filter costs, and how near the whole comes to
// merely turning bytes into light and back.
#include <thread>

#include "bench/bench_scene.h"
#include "platform/pixel_conversion.h"

namespace vello::bench {
namespace {

constexpr double kMegapixels = 24;

CIImage exposed(const CIImage& image, double stops) {
  return filtered("CIExposureAdjust", image, {{"inputEV", stops}});
}

// To light and back without a filter: rows in turn on each of the state's threads.
void bareConversion(benchmark::State& state) {
  const Scene& scene = sceneOf(kMegapixels);
  const Bitmap& bitmap = *scene.picture.sourceBitmap();
  const PixelLayout layout = bytesLayout(scene.width, scene.height);
  const PixelReader reader(bitmap);
  const PixelWriter writer(layout, ColorSpace::sRGB());
  std::vector<uint8_t> pixels(static_cast<size_t>(layout.bytesPerRow * layout.height));
  const int threads = static_cast<int>(state.range(0));
  const auto convertRows = [&](int first) {
    constexpr int kRun = 256;
    float light[4][kRun];
    const PlanarRun run{light[0], light[1], light[2], light[3]};
    for (int y = first; y < scene.height; y += threads)
      for (int x = 0; x < scene.width; x += kRun) {
        const int n = std::min(kRun, scene.width - x);
        reader.readLinear(y, x, n, run);
        writer.write(run, n, pixels.data() + y * layout.bytesPerRow + 4 * x);
      }
  };
  timed(state, layout.width * layout.height, [&] {
    std::vector<std::thread> others;
    for (int i = 1; i < threads; ++i) others.emplace_back(convertRows, i);
    convertRows(0);
    for (std::thread& other : others) other.join();
  });
}

// A change too small to be seen, which cannot be left out: the way to light and back through the renderer.
void rendererConversion(benchmark::State& state) {
  const Scene& scene = sceneOf(kMegapixels);
  timedRender(state, exposed(scene.picture, 0.001), scene.rect(), static_cast<int>(state.range(0)));
}

void exposureAlone(benchmark::State& state) {
  const Scene& scene = sceneOf(kMegapixels);
  timedRender(state, exposed(scene.picture, 0.3), scene.rect(), static_cast<int>(state.range(0)));
}

void fiveColors(benchmark::State& state) {
  const Scene& scene = sceneOf(kMegapixels);
  CIImage image =
      filtered("CIColorMatrix", exposed(scene.picture, 0.3),
               {{"inputRVector", CIVector{0.9, 0.1, 0, 0}}, {"inputGVector", CIVector{0.05, 0.9, 0.05, 0}}});
  image = filtered("CIHueAdjust", image, {{"inputAngle", 0.3}});
  image = filtered("CIColorControls", image, {{"inputSaturation", 1.2}, {"inputContrast", 1.1}});
  timedRender(state, filtered("CIColorInvert", image), scene.rect(), static_cast<int>(state.range(0)));
}

// Range 0 is how many copies of a colour filter stand in a row.
void copiesOfAFilter(benchmark::State& state) {
  const Scene& scene = sceneOf(kMegapixels);
  CIImage image = scene.picture;
  for (int i = 0; i < state.range(0); ++i)
    image = filtered("CIColorControls", image, {{"inputSaturation", 1.02}, {"inputContrast", 1.01}});
  timedRender(state, image, scene.rect());
}

void onOneAndTwo(benchmark::internal::Benchmark* b) {
  b->ArgName("threads")
      ->Arg(1)
      ->Arg(2)
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime()
      ->UseManualTime();
}

BENCHMARK(bareConversion)->Apply(onOneAndTwo);
BENCHMARK(rendererConversion)->Apply(onOneAndTwo);
BENCHMARK(exposureAlone)->Apply(onOneAndTwo);
BENCHMARK(fiveColors)->Apply(onOneAndTwo);
BENCHMARK(copiesOfAFilter)
    ->ArgName("filters")
    ->Arg(1)
    ->Arg(2)
    ->Arg(5)
    ->Arg(10)
    ->Arg(20)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseManualTime();

}  // namespace
}  // namespace vello::bench
