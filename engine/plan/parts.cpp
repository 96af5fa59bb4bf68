#include "engine/plan/parts.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "engine/plan/keeping.h"
#include "engine/render/floating_point_mode.h"
#include "engine/render/parallel.h"

namespace vello {
namespace {

// Of parts that may keep something in turn, times steps: looking at a long recipe costs time.
constexpr size_t kMostLookedAt = 1000;
// The same of coarse steps of one part, times steps.
constexpr size_t kMostCoarseLookedAt = 20000;
// Regions of steps, of a part's tiles together.
constexpr int64_t kMostRemembered = 100000;
// What coarse samples leave, where they are kept, of the work without.
constexpr double kMostOfWork = 0.97;

Step storedInsteadOf(const Step& step) {
  Step stored;
  stored.op = Step::Op::stored;
  stored.node = step.node;
  stored.lattice = step.lattice;
  stored.bounds = step.bounds;
  return stored;
}

// Samples on a coarser lattice than those they are made of.
bool isCoarser(const Step& step) {
  return step.op == Step::Op::axis && !step.chords && step.axisX->coarser() && step.axisY->coarser();
}

// What all tiles of a part need of every step.
std::vector<IndexRect> readBy(const Program& program, Part& part, const PartOptions& options) {
  const Tiles tiles{part.rect, part.tiling.width, part.tiling.height};
  if (!interpolates(part.passes) || tiles.areMany())
    return regionsFor(program, part.rect, options.set, {movesToPlan(part.rect).most}).steps;
  const bool few = tiles.count() * static_cast<int64_t>(program.steps.size()) < kMostRemembered;
  std::vector<Regions> remembered(few ? static_cast<size_t>(tiles.count()) : 0);
  std::vector<IndexRect> all(program.steps.size());
  std::mutex mutex;
  const bool done = runParts(tiles.count(), options.threads, [&](int64_t k) {
    const FloatingPointMode mode;
    // What is kept must reach as far as it is going to be read.
    Regions own = regionsFor(program, tiles.at(k), options.set, {movesToPlan(tiles.at(k)).most});
    {
      const std::lock_guard lock(mutex);
      for (size_t s = 0; s < all.size(); ++s) all[s] = unionOf(all[s], own.steps[s]);
    }
    if (few) remembered[static_cast<size_t>(k)] = std::move(own);
    return !options.goOn || options.goOn();
  });
  if (done) part.regions = std::move(remembered);
  return all;
}

class Planner {
 public:
  Planner(Program& program, const PartOptions& options)
      : program_(program), options_(options), root_(program.root), reads_(program.steps.size()) {}

  std::vector<Part> plan(const IndexRect& frame) {
    noteKept(program_, fusePasses(program_, options_.straight));
    add(root_);
    reads_[static_cast<size_t>(root_)] = frame;
    // What reads a part comes behind it: when its turn comes it is known what is read of it.
    for (auto at = parts_.rbegin(); at != parts_.rend(); ++at) planOne(at->second);
    std::vector<Part> list;
    for (auto& [step, part] : parts_) {
      fuseAgain(part);
      list.push_back(std::move(part));
    }
    for (size_t p = 0; p < list.size(); ++p) findReaders(list, p);
    for (size_t p = 0; p + 1 < list.size(); ++p) shareMemory(list, p);
    return list;
  }

 private:
  Part& add(int step) {
    Part& part = parts_[step];
    part.step = step;
    return part;
  }

  void planOne(Part& part) {
    const PartScope scope(program_, part);
    part.rect = reads_[static_cast<size_t>(part.step)];
    if (part.rect.empty()) return;
    tile(part);
    const bool look = part.step == root_ || parts_.size() * program_.steps.size() < kMostLookedAt;
    if (options_.keep && look) {
      keepCoarse(part);
      if (keep(part)) tile(part);
    }
    if (parts_.size() == 1) return;
    const std::vector<IndexRect> reads = readBy(program_, part, options_);
    for (size_t k = 0; k < reads.size(); ++k) reads_[k] = unionOf(reads_[k], reads[k]);
  }

  void tile(Part& part) {
    part.passes = passesOf(part);
    const bool told = options_.told && part.step == root_;
    part.tiling = chooseTiling(program_, part.passes, part.rect,
                               {options_.threads, options_.tileSide, told, options_.set});
  }

  Passes passesOf(const Part& part) const {
    return fusePasses(program_, options_.straight && part.step == root_);
  }

  bool keep(const Part& part) {
    const std::vector<int> steps =
        stepsToKeep(program_, part.passes, part.rect, part.tiling, options_.bytesInMemory, options_.set);
    for (const int k : steps) {
      Step& step = program_.steps[static_cast<size_t>(k)];
      add(k).computed = std::exchange(step, storedInsteadOf(step));
    }
    return !steps.empty();
  }

  // Coarse samples are little to keep, and much to compute again where tiles meet: wide filters read them
  // from afar.
  void keepCoarse(Part& part) {
    size_t looks = 0;
    std::optional<Regions> reads;  // of all tiles together
    for (int k = program_.root; k-- > 0 && looks < kMostCoarseLookedAt;) {
      Step& step = program_.steps[static_cast<size_t>(k)];
      if (!isCoarser(step)) continue;
      looks += program_.steps.size();
      Part own;
      own.step = k;
      if (!reads) reads = regionsFor(program_, part.rect, options_.set, movesToPlan(part.rect));
      own.rect = reads->steps[static_cast<size_t>(k)];
      if (own.rect.empty()) continue;
      own.computed = std::exchange(step, storedInsteadOf(step));
      const Tiling& now = part.tiling;
      const Tiling without =
          tilingOf(program_, passesOf(part), part.rect, now.width, now.height, options_.set);
      if (without.work * part.rect.area() + keptWork(own) < kMostOfWork * part.work()) {
        add(k).computed = std::move(own.computed);
        tile(part);
        reads.reset();
      } else {
        step = std::move(own.computed);
      }
    }
  }

  // Of samples that are computed once, kept and read.
  double keptWork(Part& part) {
    const PartScope scope(program_, part);
    return regionsFor(program_, part.rect, options_.set).work +
           keepingWork(part.rect.area(), options_.bytesInMemory);
  }

  // What a part would have computed for itself may be kept by now because of another one.
  void fuseAgain(Part& part) {
    const PartScope scope(program_, part);
    if (!part.rect.empty()) part.passes = passesOf(part);
  }

  void findReaders(std::vector<Part>& list, size_t p) {
    const PartScope scope(program_, list[p]);
    const std::vector<bool> read = stepsRead(program_);
    for (size_t k = 0; k < p; ++k)
      if (read[static_cast<size_t>(list[k].step)]) list[k].lastReader = p;
  }

  void shareMemory(std::vector<Part>& list, size_t p) const {
    const double left = options_.bytesInMemory - bytesKept(list, p);
    list[p].bytesInMemory = std::min(SampleStore::bytesFor(list[p].rect), std::max(0.0, left));
  }

  Program& program_;
  const PartOptions& options_;
  const int root_;
  std::vector<IndexRect> reads_;  // of every step, by the parts that are planned
  std::map<int, Part> parts_;     // by step
};

}  // namespace

double bytesKept(const std::vector<Part>& parts, size_t p) {
  double bytes = parts[p].bytesInMemory;
  for (size_t k = 0; k < p; ++k)
    if (parts[k].lastReader >= p) bytes += parts[k].bytesInMemory;
  return bytes;
}

std::vector<Part> planParts(Program& program, const IndexRect& frame, const PartOptions& options) {
  return Planner(program, options).plan(frame);
}

}  // namespace vello
