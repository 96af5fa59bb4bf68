// What renders of one session leave for each other.
#include <chrono>

#include "engine/render/render_cache.h"
#include "engine/render/render_job.h"

namespace vello {

// Reads what earlier renders have left from now on, and leaves what this recipe has in common with the last.
void RenderJob::keepCommon() {
  // A thorough frame is the last of its recipe.
  if (!options_.cache || options_.reference || lattice_.quality == Quality::thorough) return;
  // Moved texels are written as they are; kept, they would be light.
  if (movesTexels(request_.image.node())) return;
  kept_ = [this](const Digest& recipe, const Lattice& lattice) {
    return options_.cache->find(recipe, lattice);
  };
  const auto start = std::chrono::steady_clock::now();
  const std::vector<NodePtr> roots = options_.cache->inCommonWithLast(request_.image.node());
  Program program;
  std::optional<Regions> regions;
  if (!roots.empty() && build(program).empty())
    for (const NodePtr& root : roots) keep(program, root, regions);
  keepingSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Whether kept samples reach as far as they are read. Those that do not are forgotten.
bool RenderJob::keptReach(const Program& program, const Regions& regions) {
  bool all = true;
  for (size_t k = 0; k < program.steps.size(); ++k) {
    const auto& stored = program.steps[k].stored;
    const IndexRect& needed = regions.steps[k];
    if (!stored || needed.empty() || intersection(stored->samples.rect(), needed) == needed) continue;
    options_.cache->drop(*stored);
    all = false;
  }
  if (!all) keptTooShort_ = true;
  return all;
}

// Computes the samples of a part of the program for itself, where later renders gain by it. `regions` are the
// program's, computed when they are needed.
void RenderJob::keep(const Program& program, const NodePtr& node, std::optional<Regions>& regions) {
  size_t k = program.steps.size();
  while (k > 0 && program.steps[k - 1].node->digest != node->digest) --k;
  if (k == 0 || program.steps[--k].op == Step::Op::stored) return;
  const Step& step = program.steps[k];
  constexpr double leastWork = 4;  // of a sample
  Program part;
  if (!buildProgram(CIImage(node), step.lattice, programOptions(), part).empty()) return;
  if (workPerSample(part, true) < leastWork) return;
  if (!regions) regions = regionsFor(program, frame_, set_);
  const IndexRect needed = regions->steps[k];
  if (needed.empty() || Buffer::bytesFor(needed) > static_cast<double>(options_.cache->bytes())) return;
  auto samples = std::make_shared<KeptSamples>();
  samples->recipe = node->digest;
  samples->lattice = step.lattice;
  samples->straight = step.straight && fusePasses(program).keptBy[k] < 0;
  samples->samples = Buffer(needed);
  const std::string error = compute(
      part, needed, samples->straight, {},
      [&](int64_t j, int64_t i, int n, const Run& run) { copyRun(run, samples->samples.at(i, j), n); });
  if (error.empty()) options_.cache->keep(std::move(samples));
}

}  // namespace vello
