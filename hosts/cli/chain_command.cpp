// vello chain: checking, showing and making filter chains.
#include <charconv>
#include <memory>

#include "hosts/cli/chain_listing.h"
#include "hosts/cli/chain_maker.h"
#include "hosts/cli/commands.h"
#include "hosts/cli/console.h"
#include "hosts/cli/files.h"
#include "hosts/cli/picture.h"
#include "source/core/stack/chain_check.h"
#include "source/core/stack/chain_text.h"

namespace vello::cli {
namespace {

constexpr const char* kChainFile = "The chain; - is standard input";
constexpr const char* kNewForms =
    "Each filter is NAME[:key=value]..., in the order they are applied. Values are those of \"vello "
    "filter\";\n"
    "positions and rectangles in pixels of the picture, y upwards; a picture key=@FILE is kept by its path. "
    "In\n"
    "values \\: stands for a colon and \\\\ for a backslash (quote them for the shell). Values that are not "
    "given\n"
    "are those the filter has when it is added in the window. Positions are kept as shares of the picture, "
    "so the\n"
    "chain fits pictures of any size.\n"
    "Example: vello chain new --for photo.tif CIGaussianBlur:inputRadius=4 CISepiaTone -o old.chain";

// "1920x1080"
std::optional<CGSize> parseSize(const std::string& text) {
  constexpr int64_t kLargestSide = 1 << 20;
  int64_t sides[2] = {0, 0};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (int64_t& side : sides) {
    const auto [rest, problem] = std::from_chars(at, end, side);
    if (problem != std::errc() || side < 1 || side > kLargestSide) return std::nullopt;
    at = rest;
    if (&side == sides && (at == end || (*at != 'x' && *at != 'X'))) return std::nullopt;
    if (&side == sides) ++at;
  }
  if (at != end) return std::nullopt;
  return CGSize{static_cast<double>(sides[0]), static_cast<double>(sides[1])};
}

int checkChainFile(const std::string& path) {
  const FileContents file = readChainFile(path);
  if (!file.ok()) return failure(file.error);
  const std::vector<ChainProblem> problems = checkChain(textOf(file));
  for (const ChainProblem& problem : problems)
    say((problem.severity == ChainSeverity::error ? "error: " : "warning: ") + describe(problem) + "\n");
  if (problems.empty()) say("the chain is whole\n");
  return hasErrors(problems) ? kFailed : kDone;
}

int showChainFile(const std::string& path) {
  const FileContents file = readChainFile(path);
  if (!file.ok()) return failure(file.error);
  const ChainTextResult chain = readChainText(textOf(file));
  if (!chain.ok()) return failure(path + ": " + chain.error);
  say(chainDescription(chain.boxes()));
  return kDone;
}

struct NewChainArguments {
  std::string picture, output;
  std::vector<std::string> filters;
};

int writeChain(const std::string& path, const std::string& text) {
  if (path == "-") {
    say(text);
    return kDone;
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto problem = writeFileAtomically(path, {bytes, text.size()});
  return problem ? failure(*problem) : kDone;
}

int newChain(const NewChainArguments& arguments) {
  std::optional<CGSize> size = parseSize(arguments.picture);
  if (!size) {
    std::string problem;
    const auto info = imageFileInfo(arguments.picture, &problem);
    if (!info) return failure(problem);
    if (isSameFile(arguments.picture, arguments.output))
      return wrongUsage(arguments.output + ": the chain would overwrite the picture");
    size = CGSize{static_cast<double>(info->width), static_cast<double>(info->height)};
  }
  std::vector<FilterSpec> filters;
  for (const std::string& text : arguments.filters) {
    FilterSpecResult parsed = parseFilterSpec(text);
    if (!parsed.ok()) return wrongUsage(parsed.error);
    filters.push_back(std::move(parsed.spec));
  }
  if (arguments.output != "-")
    if (const auto problem = outputProblem(arguments.output)) return wrongUsage(*problem);
  const ChainTextOrError chain = makeChain(*size, filters);
  return chain.ok() ? writeChain(arguments.output, chain.text) : wrongUsage(chain.error);
}

// `run` on the file named by the command's only argument.
void addFileCommand(CommandLine& line, CLI::App& chain, const char* name, const char* purpose,
                    int (*run)(const std::string&)) {
  const auto path = std::make_shared<std::string>();
  CLI::App* command = chain.add_subcommand(name, purpose);
  command->add_option("FILE", *path, kChainFile)->required()->type_name("");
  command->callback([&line, path, run] { line.run = [path, run] { return run(*path); }; });
}

void addNewCommand(CommandLine& line, CLI::App& chain) {
  const auto arguments = std::make_shared<NewChainArguments>();
  CLI::App* command = chain.add_subcommand("new", "Write a chain of filters");
  command->footer(kNewForms);
  command->add_option("--for", arguments->picture, "The picture it is made for, or its size as 1920x1080")
      ->required()
      ->type_name("INPUT|WxH");
  command->add_option("NAME", arguments->filters, "Filters with their values: NAME[:key=value]...")
      ->required()
      ->type_name("");
  command->add_option("-o,--output", arguments->output, "The chain; - is standard output")
      ->required()
      ->type_name("FILE");
  command->callback([&line, arguments] { line.run = [arguments] { return newChain(*arguments); }; });
}

}  // namespace

void addChainCommand(CommandLine& line) {
  CLI::App* chain = line.parser.add_subcommand("chain", "Check, show or make filter chains");
  chain->require_subcommand(1);
  addFileCommand(line, *chain, "check",
                 "Tell everything in a chain that cannot be read as it stands; status 1 if there is any",
                 checkChainFile);
  addFileCommand(line, *chain, "show", "Print what a chain does", showChainFile);
  addNewCommand(line, *chain);
}

}  // namespace vello::cli
