// What `vello render` is going to do, decided before the first picture is decoded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/image_file.h"

namespace vello::cli {

struct RenderArguments {
  std::vector<std::string> inputs;
  std::string chain, output, outputFolder, format;
  std::optional<int> depth, quality;
  std::optional<double> dpi;
  int jobs = 1;
  bool verbose = false;
  bool explain = false;  // tell what would be done, and write nothing
};

struct RenderTask {
  std::string input, output;
  ImageFormat format = ImageFormat::png;
  std::string problem;  // why it cannot be done; empty when it can
};

// What is wrong with the arguments as a whole, or nothing.
std::optional<std::string> argumentsProblem(const RenderArguments& arguments);

// One task an input, in their order. No two write the same file, and none writes an input, a file of `kept`
// or what is no regular file: such a task only has its problem.
std::vector<RenderTask> planTasks(const RenderArguments& arguments, const std::vector<std::string>& kept);

}  // namespace vello::cli
