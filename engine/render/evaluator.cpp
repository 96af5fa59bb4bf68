#include "engine/render/evaluator.h"

namespace vello {

Buffer Evaluator::evaluate() {
  std::vector<int> left = regions_.users;
  buffers_.resize(program_.steps.size());
  for (size_t k = 0; k < program_.steps.size(); ++k) {
    if (regions_.steps[k].empty()) continue;
    const Step& step = program_.steps[k];
    buffers_[k] = Buffer(regions_.steps[k]);
    compute(step, k, buffers_[k]);
    for (int input : step.inputs)
      if (input >= 0 && --left[static_cast<size_t>(input)] == 0) buffers_[static_cast<size_t>(input)] = {};
  }
  const auto root = static_cast<size_t>(program_.root);
  Buffer result = std::move(buffers_[root]);
  const IndexRect& r = result.rect();
  if (program_.steps[root].straight)
    for (int64_t j = r.y0; j < r.y1; ++j) premultiply(result.at(r.x0, j), r.width());
  return result;
}

}  // namespace vello
