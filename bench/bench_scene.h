// What the micro-benchmarks share: pictures, filters by name, and a timed render with the counters that every
// table has.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <map>
#include <utility>
#include <vector>

#include "engine/catalogue/filter.h"
#include "engine/render/context.h"

namespace vello::bench {

struct Scene {
  int width = 0, height = 0;
  CIImage picture, second;  // opaque, 8 bit, sRGB
  CGRect rect() const { return {{0, 0}, {static_cast<double>(width), static_cast<double>(height)}}; }
  double megapixels() const { return width * 1e-6 * height; }
};

inline PixelLayout bytesLayout(int64_t width, int64_t height) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.bytesPerRow = width * 4;
  return layout;
}

// Waves, hard edges and grain: smooth enough to look like a photograph to a cache, too busy to be skipped.
inline Bitmap photo(int width, int height, uint32_t seed) {
  std::vector<uint8_t> bytes(size_t{4} * width * height);
  uint32_t grain = seed * 747796405u + 1;
  std::vector<float> wave(width);
  for (int x = 0; x < width; ++x) wave[x] = 70 * std::sin(x * 0.011f + seed);
  for (int y = 0; y < height; ++y) {
    const float down = 90 + 60 * std::cos(y * 0.007f);
    uint8_t* p = bytes.data() + size_t{4} * width * y;
    for (int x = 0; x < width; ++x, p += 4) {
      grain = grain * 1664525u + 1013904223u;
      const float light = down + wave[x] + ((x >> 6 ^ y >> 6) & 1 ? 24.0f : 0.0f) + (grain >> 29);
      for (int c = 0; c < 3; ++c)
        p[c] = static_cast<uint8_t>(std::fmin(std::fmax(light - 14.0f * c, 0), 255));
      p[3] = 255;
    }
  }
  return Bitmap(bytesLayout(width, height), ColorSpace::sRGB(), Data(std::move(bytes)));
}

// 3:2 and `megapixels` large; kept until another size is asked for.
inline const Scene& sceneOf(double megapixels) {
  static double kept = 0;
  static Scene scene;
  if (kept == megapixels) return scene;
  kept = megapixels;
  scene = {};
  scene.height = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
  scene.width = static_cast<int>(std::lround(megapixels * 1e6 / scene.height));
  scene.picture = CIImage::imageWithBitmap(photo(scene.width, scene.height, 1));
  scene.second = CIImage::imageWithBitmap(photo(scene.width, scene.height, 2));
  return scene;
}

using Inputs = std::initializer_list<std::pair<const char*, Value>>;

// The filter over an image, at its defaults but for `inputs`; nil when there is none of that name.
inline CIImage filtered(const char* name, const CIImage& image, Inputs inputs = {}) {
  const auto filter = CIFilter::filterWithName(name);
  if (!filter) return {};
  filter->setDefaults();
  if (!image.isNil()) filter->setValueForKey(image, kCIInputImageKey);
  for (const auto& [key, value] : inputs) filter->setValueForKey(value, key);
  return filter->outputImage();
}

inline CIImage over(const CIImage& above, const CIImage& below) {
  return filtered("CISourceOverCompositing", above, {{kCIInputBackgroundImageKey, below}});
}

// What the vignette, the blur and the rest of a designer's stack do; `sharpness` is its last slider but the
// crop, `stops` its first.
inline CIImage designersStack(const Scene& scene, double stops = 0.3, double sharpness = 0.5) {
  const CGRect r = scene.rect();
  CIImage image = filtered("CIExposureAdjust", scene.picture, {{"inputEV", stops}});
  image =
      filtered("CIColorMatrix", image,
               {{"inputRVector", CIVector{0.9, 0.1, 0, 0}}, {"inputGVector", CIVector{0.05, 0.9, 0.05, 0}}});
  image = filtered("CIGaussianBlur", image, {{"inputRadius", 4.0}});
  image = filtered("CIMultiplyCompositing", scene.second, {{kCIInputBackgroundImageKey, image}});
  const CIImage vignette = filtered("CIRadialGradient", {},
                                    {{"inputCenter", CIVector{r.size.width / 2, r.size.height / 2}},
                                     {"inputRadius0", 0.0},
                                     {"inputRadius1", 0.7 * r.size.height},
                                     {"inputColor0", CIColor(0, 0, 0, 0)},
                                     {"inputColor1", CIColor(0, 0, 0, 0.6)}});
  image =
      filtered("CIUnsharpMask", over(vignette, image), {{"inputRadius", 2.5}, {"inputIntensity", sharpness}});
  // Whole pixels: a rectangle between them is another render, in which every texel is interpolated.
  const double x = std::floor(0.1 * r.size.width), y = std::floor(0.1 * r.size.height);
  return image.imageByCroppingToRect({{x, y}, {r.size.width - 2 * x, r.size.height - 2 * y}});
}

// Seconds to copy a picture of that many samples as floats, four a sample, on one core: the best of several,
// once a size.
inline double copySeconds(int64_t samples) {
  static std::map<int64_t, double> known;
  const auto [entry, isNew] = known.try_emplace(samples, 1e9);
  if (!isNew) return entry->second;
  const size_t bytes = static_cast<size_t>(samples) * 16;
  std::vector<uint8_t> from(bytes, 1), to(bytes, 2);
  for (int run = 0; run < 7; ++run) {
    const auto start = std::chrono::steady_clock::now();
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    entry->second = std::min(entry->second, took.count());
  }
  return entry->second;
}

// The value below which a share of them lies.
inline double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1) + 0.5);
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

// Times a piece of work that makes `samples` samples. All counters are of the median run: megapixels a
// second, nanoseconds a pixel, and what it costs in copies of the picture as float; p95_ms of the slowest but
// one in twenty.
template <class Work>
void timed(benchmark::State& state, int64_t samples, const Work& work) {
  const double copy = copySeconds(samples);
  std::vector<double> seconds;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    seconds.push_back(took.count());
    state.SetIterationTime(took.count());
  }
  const double each = quantile(seconds, 0.5), pixels = static_cast<double>(samples);
  state.counters["MP/s"] = pixels * 1e-6 / each;
  state.counters["ns/px"] = each * 1e9 / pixels;
  state.counters["copies"] = each / copy;
  state.counters["median_ms"] = each * 1e3;
  state.counters["p95_ms"] = quantile(seconds, 0.95) * 1e3;
}

// Renders full size into bytes, again and again, on so many threads; 0: all cores.
inline void timedRender(benchmark::State& state, const CIImage& image, const CGRect& rect, int threads = 0) {
  if (image.isNil()) return state.SkipWithError("there is no such filter yet");
  ContextOptions options;
  options.threads = threads;
  const CIContext context(options);
  const auto width = static_cast<int64_t>(rect.size.width), height = static_cast<int64_t>(rect.size.height);
  std::vector<uint8_t> pixels(static_cast<size_t>(width * height * 4));
  std::string error;
  timed(state, width * height, [&] {
    if (error.empty())
      error = context.render({image, rect}, bytesLayout(width, height), ColorSpace::sRGB(), pixels.data());
  });
  if (!error.empty()) state.SkipWithError(error.c_str());
}

}  // namespace vello::bench
