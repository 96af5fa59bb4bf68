// A chain read strictly: everything that a filter stack would silently skip, replace or guess is told.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vello {

enum class ChainSeverity {
  warning,  // read as it stands, but perhaps not meant so
  error,    // the chain cannot be fully read
};

struct ChainProblem {
  int box = -1;             // 0 is the background box; -1: the chain as a whole
  std::string filter, key;  // empty where none is concerned
  std::string message;
  ChainSeverity severity = ChainSeverity::error;
};

// Problems in the order of the chain; of very many only the first hundred, then one that says how many more.
// Makes no filter and touches no stack. Opens image files for their headers only. Safe on any text.
std::vector<ChainProblem> checkChain(std::string_view text);

// "box 2, CIGaussianBlur, inputRadius: ..."
std::string describe(const ChainProblem& problem);
bool hasErrors(const std::vector<ChainProblem>& problems);

}  // namespace vello
