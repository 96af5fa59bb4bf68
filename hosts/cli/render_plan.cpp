#include "hosts/cli/render_plan.h"

#include <algorithm>
#include <filesystem>

#include "hosts/cli/picture.h"

namespace vello::cli {
namespace {

namespace fs = std::filesystem;

const char* extensionFor(ImageFormat format) {
  return format == ImageFormat::tiff ? ".tif" : format == ImageFormat::jpeg ? ".jpg" : ".png";
}

// The input's name, its extension changed only where it says another format.
std::string outputInFolder(const RenderArguments& arguments, const std::string& input, ImageFormat format) {
  fs::path name = fs::path(input).filename();
  if (imageFormatForPath(name.string()) != format) name.replace_extension(extensionFor(format));
  return (fs::path(arguments.outputFolder) / name).string();
}

// As asked for, else the input's own; what cannot be written becomes PNG.
ImageFormat formatInFolder(const RenderArguments& arguments, ImageFormat ofInput) {
  const FormatChoice asked = formatForOutput("", arguments.format);
  if (asked.ok()) return asked.format;
  return ofInput == ImageFormat::webp ? ImageFormat::png : ofInput;
}

RenderTask taskFor(const RenderArguments& arguments, const std::string& input) {
  RenderTask task;
  task.input = input;
  const auto info = imageFileInfo(input, &task.problem);
  if (!info) return task;
  if (arguments.output.empty()) {
    task.format = formatInFolder(arguments, info->format);
    task.output = outputInFolder(arguments, input, task.format);
  } else {
    task.format = formatForOutput(arguments.output, arguments.format).format;
    task.output = arguments.output;
  }
  if (const auto problem = depthProblem(arguments.depth, task.format)) task.problem = input + ": " + *problem;
  return task;
}

// The same for two ways to write one place that need not exist yet.
std::string placeOf(const std::string& path) {
  std::error_code ignored;
  const fs::path absolute = fs::absolute(path, ignored);
  const fs::path folder = fs::weakly_canonical(absolute.parent_path(), ignored);
  return (folder / absolute.filename()).string();
}

std::string conflict(const RenderTask& task, const std::vector<RenderTask>& earlier,
                     const std::vector<std::string>& kept) {
  if (const auto problem = outputProblem(task.output)) return *problem;
  for (const std::string& path : kept)
    if (isSameFile(task.output, path)) return task.output + ": the result would overwrite " + path;
  for (const RenderTask& other : earlier)
    if (other.problem.empty() && placeOf(other.output) == placeOf(task.output))
      return task.output + ": the result would overwrite that of " + other.input;
  return "";
}

}  // namespace

std::optional<std::string> argumentsProblem(const RenderArguments& arguments) {
  if (arguments.explain && arguments.output.empty()) return std::nullopt;
  if (arguments.output.empty() == arguments.outputFolder.empty())
    return "give either -o or --out-dir for the results";
  if (arguments.output.empty()) return std::nullopt;
  if (arguments.inputs.size() > 1) return "-o takes one input; give --out-dir for several";
  const FormatChoice choice = formatForOutput(arguments.output, arguments.format);
  return choice.ok() ? depthProblem(arguments.depth, choice.format) : choice.error;
}

std::vector<RenderTask> planTasks(const RenderArguments& arguments, const std::vector<std::string>& kept) {
  std::vector<std::string> untouchable = arguments.inputs;
  untouchable.insert(untouchable.end(), kept.begin(), kept.end());
  std::vector<RenderTask> tasks;
  for (const std::string& input : arguments.inputs) {
    RenderTask task = taskFor(arguments, input);
    if (task.problem.empty() && !arguments.explain) task.problem = conflict(task, tasks, untouchable);
    tasks.push_back(std::move(task));
  }
  return tasks;
}

}  // namespace vello::cli
