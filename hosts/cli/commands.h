// The commands of the program. Each adds its arguments to the parser and puts what it does under `run` when
// it is the one chosen.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace vello::cli {

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2, kInterrupted = 130 };

struct CommandLine {
  CLI::App& parser;
  std::function<int()> run;  // returns the exit status
};

void addRenderCommand(CommandLine& line);
void addFilterCommand(CommandLine& line);
void addFiltersCommand(CommandLine& line);
void addChainCommand(CommandLine& line);

}  // namespace vello::cli
