// What a render would do and need.
#include <algorithm>
#include <mutex>

#include "engine/plan/explanation.h"
#include "engine/render/floating_point_mode.h"
#include "engine/render/parallel.h"
#include "engine/render/render_job.h"

namespace vello {

std::string RenderJob::explain(RenderPlan& plan) {
  const FloatingPointMode mode;
  Program program;
  settle({}, nullptr);
  if (std::string error = build(program); !error.empty()) return error;
  std::vector<Part> parts = planParts(program, frame_, partOptions(false));
  plan.predictedBytes = peak_;  // held while the program was built
  std::string error;
  for (size_t p = 0; p < parts.size(); ++p) {
    Part& part = parts[p];
    const PartScope scope(program, part);
    part.tiling.bytes = largestTile(program, part);
    const int threads = threadsFor(part.rect, part.tiling);
    if (error.empty()) error = refuse(part.tiling, threads, part.rect.area());
    plan.predictedBytes = std::max(plan.predictedBytes, bytesKept(parts, p) + part.tiling.bytes * threads);
    plan.predictedSamples += part.tiling.samples * part.rect.area();
  }
  plan.text = explanation(program, parts);
  return error;
}

// What the neediest tile of a part holds.
double RenderJob::largestTile(const Program& program, const Part& part) const {
  // Without interpolation all tiles are alike.
  const Tiles tiles{part.rect, part.tiling.width, part.tiling.height};
  if (!interpolates(part.passes) || tiles.areMany()) return part.tiling.bytes;
  double most = part.tiling.bytes;
  std::mutex mutex;
  runParts(tiles.count(), threads_, [&](int64_t k) {
    const FloatingPointMode mode;
    const IndexRect tile = tiles.at(k);
    const Regions regions = regionsFor(program, tile, set_, {movesToPlan(tile).most});
    const double bytes = bytesHeld(program, part.passes, tile, regions, set_);
    const std::lock_guard lock(mutex);
    most = std::max(most, bytes);
    return true;
  });
  return most;
}

}  // namespace vello
