// Every filter of the catalogue at its defaults and with all its sliders at their ends.
#include "bench/bench_scene.h"

namespace vello::bench {
namespace {

constexpr double kMegapixels = 2;

// The end of an input's slider, where it has one.
std::optional<double> sliderEnd(const InputAttributes& input) {
  if (input.className != "NSNumber") return std::nullopt;
  return input.sliderMax ? input.sliderMax : input.max;
}

// Places lie in the picture's middle, for the defaults are made for small pictures.
void placeInMiddle(CIFilter& filter, const InputAttributes& input, const Scene& scene) {
  if (input.type == "Position")
    filter.setValueForKey(CIVector{scene.width / 2.0, scene.height / 2.0}, input.key);
}

// nil where the filter needs what this cannot give.
CIImage imageOf(const std::string& name, const Scene& scene, bool atEnds) {
  const auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  bool isFirst = true;
  for (const InputAttributes& input : filter->attributes().inputs) {
    if (input.className == "CIImage") {
      filter->setValueForKey(isFirst ? scene.picture : scene.second, input.key);
      isFirst = false;
    }
    placeInMiddle(*filter, input, scene);
    if (const auto end = sliderEnd(input); atEnds && end) filter->setValueForKey(*end, input.key);
  }
  return filter->outputImage();
}

void addAll() {
  for (const std::string& name : CIFilter::filterNamesInCategory(""))
    for (const bool atEnds : {false, true})
      benchmark::RegisterBenchmark((name + (atEnds ? "/maxima" : "/defaults")).c_str(),
                                   [name, atEnds](benchmark::State& state) {
                                     const Scene& scene = sceneOf(kMegapixels);
                                     timedRender(state, imageOf(name, scene, atEnds), scene.rect());
                                   })
          ->Unit(benchmark::kMillisecond)
          ->MeasureProcessCPUTime()
          ->UseManualTime();
}

}  // namespace
}  // namespace vello::bench

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  if (benchmark::ReportUnrecognizedArguments(count, words)) return 1;
  vello::bench::addAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
