#include "engine/plan/keeping.h"

#include <algorithm>
#include <cmath>

namespace vello {
namespace {

constexpr double kKeepWork = 8, kSpillWork = 24;  // of a sample in memory and in a file
constexpr double kSampleBytes = 4 * sizeof(float);
constexpr double kLeastShare = 0.15;  // of all work must be saved
constexpr double kOwnOverlap = 1.1;   // of the tiles in which a kept step is computed
constexpr int64_t kMostLookedAt = 3;  // tiles across and down

// What tiles here and there in the frame need, taken for all.
struct Survey {
  std::vector<double> areas;     // samples of each step, computed by all tiles together
  std::vector<IndexRect> reads;  // where they lie
  double area(size_t k) const { return std::max(1.0, reads[k].area()); }
  double repeats(size_t k) const { return std::max(1.0, areas[k] / area(k)); }
};

Survey survey(const Program& program, const IndexRect& frame, const Tiling& tiling, InstructionSet set) {
  const Tiles tiles{frame, tiling.width, tiling.height};
  const int64_t across = tiles.across(), down = tiles.down();
  const int64_t columns = std::min(across, kMostLookedAt), rows = std::min(down, kMostLookedAt);
  Survey found{std::vector<double>(program.steps.size()), std::vector<IndexRect>(program.steps.size())};
  double seen = 0;
  for (int64_t y = 0; y < rows; ++y)
    for (int64_t x = 0; x < columns; ++x) {
      // The outermost and those between them.
      const int64_t column = x * (across - 1) / std::max<int64_t>(1, columns - 1),
                    row = y * (down - 1) / std::max<int64_t>(1, rows - 1);
      const IndexRect tile = tiles.at(column, row);
      const Regions regions = regionsFor(program, tile, set, movesToPlan(tile));
      seen += tile.area();
      for (size_t k = 0; k < program.steps.size(); ++k) {
        found.areas[k] += regions.steps[k].area();
        found.reads[k] = unionOf(found.reads[k], regions.steps[k]);
      }
    }
  for (double& area : found.areas) area *= frame.area() / seen;
  return found;
}

class Keeping {
 public:
  Keeping(const Program& program, const Passes& passes, Survey survey, double bytesInMemory)
      : program_(program),
        survey_(std::move(survey)),
        memory_(bytesInMemory),
        candidate_(program.steps.size()),
        kept_(program.steps.size()),
        repeats_(program.steps.size(), INFINITY) {
    for (const Pass& pass : passes.list)
      for (const Reader& reader : pass.readers)
        if (reader.way == Reader::Way::grid && step(reader.step).op != Step::Op::stored)
          candidate_[static_cast<size_t>(reader.step)] = true;
  }

  std::vector<int> run() {
    std::vector<int> list;
    const auto root = static_cast<size_t>(program_.root);
    repeats_[root] = 1;
    // Users come before what they read: what is kept is not computed again for what lies behind it.
    for (size_t k = root + 1; k-- > 0;) {
      if (!std::isfinite(repeats_[k])) continue;
      if (k != root && candidate_[k] && isWorthKeeping(k)) {
        kept_[k] = true;
        list.insert(list.begin(), static_cast<int>(k));
      }
      const double passedOn = kept_[k] ? survey_.repeats(k) : repeats_[k];
      for (const int input : program_.steps[k].inputs)
        if (input >= 0) {
          double& own = repeats_[static_cast<size_t>(input)];
          own = std::min(own, passedOn);
        }
    }
    return list;
  }

 private:
  const Step& step(int k) const { return program_.steps[static_cast<size_t>(k)]; }

  std::vector<bool> leadingToRoot() const {
    std::vector<bool> leads(program_.steps.size());
    leads[static_cast<size_t>(program_.root)] = true;
    for (size_t k = static_cast<size_t>(program_.root) + 1; k-- > 0;) {
      if (!leads[k] || kept_[k]) continue;
      for (const int input : program_.steps[k].inputs)
        if (input >= 0) leads[static_cast<size_t>(input)] = true;
    }
    return leads;
  }

  bool isWorthKeeping(size_t candidate) {
    // How often samples are computed as long as nothing more is kept.
    const double now = repeats_[candidate], area = survey_.area(candidate);
    if (survey_.repeats(candidate) < 1.2 * now) return false;
    const std::vector<bool> before = leadingToRoot();
    kept_[candidate] = true;
    std::vector<bool> after = leadingToRoot();
    kept_[candidate] = false;
    after[candidate] = false;
    double work = 0, saved = 0;
    for (size_t k = 0; k < before.size(); ++k) {
      if (!before[k]) continue;
      const double each = workOf(program_.steps[k]), samples = survey_.areas[k] / now;
      work += each * samples;
      if (!after[k]) saved += each * std::max(0.0, samples - kOwnOverlap * survey_.area(k));
    }
    return saved > keepingWork(area, memory_) && saved > kLeastShare * work;
  }

  const Program& program_;
  const Survey survey_;
  const double memory_;
  std::vector<bool> candidate_, kept_;
  std::vector<double>
      repeats_;  // of what reads each step, apart from what is kept; infinite where nothing does
};

}  // namespace

double keepingWork(double samples, double bytesInMemory) {
  const double spilled = std::max(0.0, samples - bytesInMemory / kSampleBytes);
  return kKeepWork * samples + (kSpillWork - kKeepWork) * spilled;
}

std::vector<int> stepsToKeep(const Program& program, const Passes& passes, const IndexRect& frame,
                             const Tiling& tiling, double bytesInMemory, InstructionSet set) {
  const bool any = std::any_of(passes.list.begin(), passes.list.end(), [](const Pass& pass) {
    return std::any_of(pass.readers.begin(), pass.readers.end(),
                       [](const Reader& r) { return r.way == Reader::Way::grid; });
  });
  if (!any || frame.empty()) return {};
  return Keeping(program, passes, survey(program, frame, tiling, set), bytesInMemory).run();
}

}  // namespace vello
