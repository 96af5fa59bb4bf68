// What somebody sees who turns a control: frames of a preview of about 1600 x 1000 points, at rest and while
// dragging, as a window asks for them. Times are from asking to having the frame.
#include <atomic>
#include <semaphore>
#include <string>
#include <thread>

#include "bench/bench_scene.h"
#include "engine/render/preview_renderer.h"

namespace vello::bench {
namespace {

using Quality = PreviewRequest::Quality;

// Ten filters: the designer's, and three more colour controls before them.
CIImage longStack(const Scene& scene, double stops, double sharpness) {
  Scene graded = scene;
  graded.picture = filtered("CIColorControls", scene.picture, {{"inputSaturation", 1.2 + 0.1 * stops}});
  graded.picture = filtered("CIHueAdjust", graded.picture, {{"inputAngle", 0.2}});
  graded.picture = filtered("CIGammaAdjust", graded.picture, {{"inputPower", 0.9}});
  return designersStack(graded, stops, sharpness);
}

enum Changed : int64_t { firstFilter, lastFilter };

struct View {
  const Scene& scene;
  CGRect rect;
  double pitch;
  bool ten, last;

  // MP, filters, samples a point, what changes.
  explicit View(const benchmark::State& state)
      : scene(sceneOf(static_cast<double>(state.range(0)))),
        rect(designersStack(scene).extent()),
        pitch(std::max(rect.size.width / 1600, rect.size.height / 1000) /
              static_cast<double>(state.range(2))),
        ten(state.range(1) == 10),
        last(state.range(3) == lastFilter) {}
  CIImage image(int64_t run) const {
    const double step = 0.001 * static_cast<double>(run % 500);
    const double stops = last ? 0.3 : 0.1 + step, sharpness = last ? 0.2 + step : 0.5;
    return ten ? longStack(scene, stops, sharpness) : designersStack(scene, stops, sharpness);
  }
  int64_t samples() const { return std::llround(rect.size.width / pitch * (rect.size.height / pitch)); }
};

PreviewOptions options() {
  PreviewOptions o;
  o.layout = bytesLayout(0, 0);
  return o;
}

void frames(benchmark::State& state, Quality quality) {
  const View view(state);
  std::string error;
  double pitches = 0;
  std::binary_semaphore shown(0);
  PreviewRenderer renderer(options(), [&](const PreviewFrame& frame) {
    if (!frame.whole || frame.thorough) return;
    pitches += frame.pitch / view.pitch;
    error = frame.error;
    shown.release();
  });
  int64_t run = 0;
  // A more thorough frame may be on its way when the next one is asked for.
  const auto show = [&](Quality how) {
    renderer.start({view.image(run++), view.rect, view.pitch, how});
    shown.acquire();
  };
  for (int k = 0; k < 3; ++k) show(Quality::settled);
  pitches = 0;
  timed(state, view.samples(), [&] { show(quality); });
  state.counters["scale"] = pitches / static_cast<double>(state.iterations());
  if (!error.empty()) state.SkipWithError(error.c_str());
}

void settled(benchmark::State& state) { frames(state, Quality::settled); }
void dragged(benchmark::State& state) { frames(state, Quality::dragging); }

// The picture has just been opened.
void firstFrame(benchmark::State& state) {
  const View view(state);
  int64_t run = 0;
  timed(state, view.samples(), [&] {
    std::binary_semaphore shown(0);
    PreviewRenderer renderer(options(), [&](const PreviewFrame& frame) {
      if (frame.whole && !frame.thorough) shown.release();
    });
    renderer.start({view.image(run++), view.rect, view.pitch});
    shown.acquire();
  });
}

// From giving up to having the processor back.
void abandoned(benchmark::State& state) {
  const View view(state);
  std::vector<uint8_t> pixels;
  std::vector<double> waited;
  for (auto _ : state) {
    const auto now = [] { return std::chrono::steady_clock::now(); };
    const auto limit = now() + std::chrono::microseconds(500 * (1 + waited.size() % 40));
    RenderRequest request{view.image(static_cast<int64_t>(waited.size())), view.rect, view.pitch};
    request.abandoned = [&] { return now() > limit; };
    std::string error;
    CIContext().createBitmap(request, bytesLayout(0, 0), ColorSpace::sRGB(), &error);
    waited.push_back(std::chrono::duration<double>(now() - limit).count());
    state.SetIterationTime(std::max(0.0, waited.back()));
  }
  state.counters["median_ms"] = quantile(waited, 0.5) * 1e3;
  state.counters["most_ms"] = quantile(waited, 1) * 1e3;
}

void views(benchmark::internal::Benchmark* b) {
  b->ArgNames({"MP", "filters", "density", "changed"})
      ->ArgsProduct({{24}, {7, 10}, {1, 2}, {firstFilter, lastFilter}})
      ->ArgsProduct({{100}, {7}, {1}, {firstFilter, lastFilter}})
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime()
      ->UseManualTime();
}
BENCHMARK(settled)->Apply(views)->Iterations(40);
BENCHMARK(dragged)->Apply(views)->Iterations(100);
void onePerSize(benchmark::internal::Benchmark* b) {
  b->ArgNames({"MP", "filters", "density", "changed"})
      ->ArgsProduct({{24, 100}, {7}, {1, 2}, {firstFilter}})
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime()
      ->UseManualTime();
}
BENCHMARK(firstFrame)->Apply(onePerSize)->Iterations(5);
BENCHMARK(abandoned)->Apply(onePerSize)->Iterations(80);

}  // namespace
}  // namespace vello::bench
