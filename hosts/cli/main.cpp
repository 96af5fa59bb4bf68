// vello: filters and filter chains on picture files.
#include <csignal>
#include <exception>
#include <iostream>
#include <new>

#include "engine/catalogue/plugin.h"
#include "hosts/cli/commands.h"
#include "hosts/cli/console.h"
#include "hosts/cli/version.h"

namespace {

using namespace vello::cli;

constexpr const char* kPurpose = "Applies image filters and filter chains to picture files.";
constexpr const char* kExitStatuses =
    "Exit status: 0 all done, 1 something failed (named, with the reason), 2 wrong usage,\n"
    "130 interrupted. \"vello COMMAND --help\" tells more.";

// The parser says of an unknown command only that one is missing.
std::string reasonOf(const CLI::App& parser, const CLI::ParseError& problem) {
  std::string reason = problem.what();
  const std::vector<std::string> rest = parser.remaining(true);
  const bool missesCommand = reason.find("subcommand") != std::string::npos;
  if (!missesCommand || rest.empty() || rest.front().substr(0, 1) == "-") return reason;
  return "there is no command \"" + rest.front() + "\"";
}

// Wrong arguments are status 2, whatever the parser calls them.
int reportParseProblem(const CLI::App& parser, const CLI::ParseError& problem) {
  if (problem.get_exit_code() == 0) return parser.exit(problem, std::cout, std::cerr);
  return wrongUsage(reasonOf(parser, problem) + "\nTry \"vello --help\" or \"vello COMMAND --help\".");
}

int runCommand(const CommandLine& line) {
  try {
    vello::CIPlugIn::loadAllPlugIns();
    return line.run();
  } catch (const std::bad_alloc&) {
    return failure("memory is short");
  } catch (const std::exception& problem) {
    return failure(problem.what());
  }
}

int parseAndRun(int argc, char** argv) {
  CLI::App parser(kPurpose, "vello");
  parser.footer(kExitStatuses);
  parser.require_subcommand(1);
  parser.set_version_flag("--version", versionText);
  CommandLine line{parser, {}};
  addRenderCommand(line);
  addFilterCommand(line);
  addFiltersCommand(line);
  addChainCommand(line);
  try {
    parser.parse(argc, argv);
  } catch (const CLI::ParseError& problem) {
    return reportParseProblem(parser, problem);
  }
  return runCommand(line);
}

}  // namespace

int main(int argc, char** argv) {
  // A full disk is an error like any other, not a reason to die with a file half written.
  std::signal(SIGXFSZ, SIG_IGN);
  const int status = parseAndRun(argc, argv);
  if (!flushOutput() && status == kDone) return failure("standard output could not take the result");
  return status;
}
