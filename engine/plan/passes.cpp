#include "engine/plan/passes.h"

#include <algorithm>
#include <map>
#include <set>

namespace vello {
namespace {

bool isKernel(const Step& step, Kind kind) { return step.ops && step.ops->kind == kind; }

// Reading texels again costs no more than reading kept samples.
bool isCheap(const Step& step) {
  return step.op == Step::Op::empty || step.op == Step::Op::stored || step.copiesTexels();
}

// How `user` reads its input number n.
Reader::Way wayOf(const Step& user, size_t n) {
  if (user.op == Step::Op::axis) return Reader::Way::axis;
  if (user.op == Step::Op::clamp) return Reader::Way::clamp;
  if (user.op == Step::Op::sample || isKernel(user, Kind::warp) || isKernel(user, Kind::zoom))
    return Reader::Way::grid;
  if (isKernel(user, Kind::taps) && n > 0) return Reader::Way::grid;
  if (isKernel(user, Kind::area) || isKernel(user, Kind::line)) return Reader::Way::window;
  return Reader::Way::same;
}

class Fusion {
 public:
  Fusion(const Program& program, bool straight)
      : program_(program), size_(program.steps.size()), straight_(straight) {}

  Passes run() {
    collectUsers();
    assign();
    // Steps were assigned from the root on; passes are wanted the other way round.
    std::reverse(passes_.list.begin(), passes_.list.end());
    std::reverse(members_.begin(), members_.end());
    const int count = static_cast<int>(passes_.list.size());
    for (int& pass : passes_.keptBy)
      if (pass >= 0) pass = count - 1 - pass;
    for (size_t p = 0; p < passes_.list.size(); ++p) write(passes_.list[p], members_[p]);
    return std::move(passes_);
  }

 private:
  struct Use {
    int user;
    Reader::Way way;
  };

  const Step& step(int k) const { return program_.steps[static_cast<size_t>(k)]; }

  // Of steps that lead to the root.
  void collectUsers() {
    users_.resize(size_);
    for (size_t k = static_cast<size_t>(program_.root) + 1; k-- > 0;) {
      if (users_[k].empty() && static_cast<int>(k) != program_.root) continue;
      for (size_t n = 0; n < program_.steps[k].inputs.size(); ++n)
        if (const int input = program_.steps[k].inputs[n]; input >= 0)
          users_[static_cast<size_t>(input)].push_back({static_cast<int>(k), wayOf(program_.steps[k], n)});
    }
  }

  int newPass(int k) {
    passes_.list.push_back({k, {}, 0, {}});
    members_.push_back({k});
    return static_cast<int>(passes_.list.size()) - 1;
  }

  void assign() {
    passes_.keptBy.assign(size_, -1);
    std::vector<std::set<int>> madeIn(size_);
    for (int k = program_.root; k >= 0; --k) {
      const auto index = static_cast<size_t>(k);
      if (users_[index].empty() && k != program_.root) continue;
      std::set<int> into;
      bool keeps = step(k).op == Step::Op::axis || (step(k).keepsRows && k != program_.root);
      for (const Use& use : users_[index]) {
        if (use.way != Reader::Way::same) keeps = true;
        if (use.way == Reader::Way::same)
          into.insert(madeIn[static_cast<size_t>(use.user)].begin(),
                      madeIn[static_cast<size_t>(use.user)].end());
      }
      if (k == program_.root) into.insert(newRootPass());
      if (into.size() > 1 && !isCheap(step(k))) keeps = true;
      if (keeps) {
        passes_.keptBy[index] = newPass(k);
        madeIn[index] = {passes_.keptBy[index]};
        // What looks at one place of it alone reads it again, and does not wait for rows that others keep.
        if (!isCheap(step(k))) continue;
      } else {
        ++passes_.fused;
        madeIn[index] = into;
      }
      for (const int pass : into) members_[static_cast<size_t>(pass)].push_back(k);
    }
  }

  int newRootPass() {
    const int pass = newPass(program_.root);
    members_.back().clear();
    return pass;
  }

  // Turns the steps a pass computes into operations.
  void write(Pass& pass, std::vector<int> steps) {
    const bool root = &pass == &passes_.list.back();
    if (!root && step(pass.step).op == Step::Op::axis) {
      pass.readers.push_back({step(pass.step).inputs[0], Reader::Way::axis, pass.step, -1});
      return;
    }
    values_.clear();
    made_.clear();
    std::sort(steps.begin(), steps.end());
    for (const int k : steps) compute(pass, k);
    wanted(pass, pass.step, root && straight_);
    allocate(pass);
  }

  void compute(Pass& pass, int k) {
    const Step& s = step(k);
    RunOp op;
    op.step = k;
    for (size_t n = 0; n < s.inputs.size(); ++n) {
      const int input = s.inputs[n];
      if (input < 0) continue;
      const Reader::Way way = wayOf(s, n);
      if (way == Reader::Way::same) {
        const bool straight = isKernel(s, Kind::taps) ? false : s.straight;
        op.inputs[n] = wanted(pass, input, straight);
      } else {
        const int edge =
            way != Reader::Way::grid ? -1 : static_cast<int>(n) - (isKernel(s, Kind::taps) ? 1 : 0);
        pass.readers.push_back({input, way, k, edge});
      }
    }
    if (!s.edges.empty() && !s.followsRows()) pass.moving.push_back(k);
    made_[{k, s.straight}] = add(op);
  }

  // The value that holds a step's samples, straight or premultiplied.
  int wanted(Pass& pass, int k, bool straight) {
    if (const auto found = made_.find({k, straight}); found != made_.end()) return found->second;
    // Kept rows are premultiplied.
    const bool own = made_.count({k, true}) != 0;
    if (!own && !made_.count({k, false})) {
      made_[{k, false}] = add({RunOp::Type::load, k, -1, {-1, -1, -1, -1}});
      pass.readers.push_back({k, Reader::Way::same, pass.step, -1});
    }
    if (own == straight) return made_[{k, own}];
    const auto type = straight ? RunOp::Type::straighten : RunOp::Type::premultiply;
    return made_[{k, straight}] = add({type, k, -1, {made_[{k, own}], -1, -1, -1}});
  }

  int add(const RunOp& op) {
    values_.push_back(op);
    return static_cast<int>(values_.size()) - 1;
  }

  // Gives values slots: one is free again after its value's last use, and may take the result of that use.
  void allocate(Pass& pass) {
    std::vector<size_t> last(values_.size(), 0);
    for (size_t v = 0; v < values_.size(); ++v)
      for (const int input : values_[v].inputs)
        if (input >= 0) last[static_cast<size_t>(input)] = v;
    std::vector<int> free;
    for (size_t v = 0; v < values_.size(); ++v) {
      RunOp op = values_[v];
      for (int& input : op.inputs) {
        if (input < 0) continue;
        const auto value = static_cast<size_t>(input);
        input = values_[value].slot;
        if (last[value] == v && std::find(free.begin(), free.end(), input) == free.end())
          free.push_back(input);
      }
      if (free.empty()) free.push_back(pass.slots++);
      op.slot = values_[v].slot = free.back();
      free.pop_back();
      pass.ops.push_back(op);
    }
  }

  const Program& program_;
  const size_t size_;
  const bool straight_;
  Passes passes_;
  std::vector<std::vector<Use>> users_;
  std::vector<std::vector<int>> members_;  // the steps each pass computes
  std::vector<RunOp> values_;              // of the pass being written; inputs are values
  std::map<std::pair<int, bool>, int> made_;
};

}  // namespace

void noteKept(Program& program, const Passes& passes) {
  for (size_t k = 0; k < program.steps.size(); ++k)
    program.steps[k].keepsRows = passes.keptBy[k] >= 0 && !isCheap(program.steps[k]);
}

Passes fusePasses(const Program& program, bool straight) { return Fusion(program, straight).run(); }

}  // namespace vello
