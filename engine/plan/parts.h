// A render in parts: first the steps that are kept, each computed once, then the root, which reads them.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "engine/plan/tiling.h"

namespace vello {

struct Part {
  int step = 0;    // whose samples it makes
  IndexRect rect;  // all that later parts read of them; may be empty
  Passes passes;
  Tiling tiling;
  std::vector<Regions> regions;  // of its tiles, where all had to be looked at to plan; else none
  size_t lastReader = 0;         // the part after which nobody reads them again
  double bytesInMemory = 0;      // of its samples, the rest of which lies in a file
  Step computed;                 // of a kept step; in the program stands a stored one in its place
  double work() const { return tiling.work * rect.area(); }
};

struct PartOptions {
  int threads = 1, tileSide = 0;
  InstructionSet set = InstructionSet::baseline;
  double bytesInMemory = 0;    // of kept samples, together
  bool straight = false;       // the root's samples are wanted as straight colour
  bool keep = true;            // false: one part
  bool told = false;           // somebody waits for single tiles of the root
  std::function<bool()> goOn;  // asked now and then; false ends the planning with what there is
};

// In the order in which they are computed; the last one makes the root. Kept steps are replaced by stored
// ones without samples.
std::vector<Part> planParts(Program& program, const IndexRect& frame, const PartOptions& options);

// Of samples, at most held in memory while part p is computed.
double bytesKept(const std::vector<Part>& parts, size_t p);

// While it lives, a part's step is the root of its program, and computed.
class PartScope {
 public:
  PartScope(Program& program, Part& part)
      : program_(program), part_(part), root_(std::exchange(program.root, part.step)) {
    exchange();
  }
  ~PartScope() {
    exchange();
    program_.root = root_;
  }
  PartScope(const PartScope&) = delete;
  PartScope& operator=(const PartScope&) = delete;

 private:
  void exchange() {
    if (part_.step != root_) std::swap(program_.steps[static_cast<size_t>(part_.step)], part_.computed);
  }
  Program& program_;
  Part& part_;
  const int root_;
};

}  // namespace vello
