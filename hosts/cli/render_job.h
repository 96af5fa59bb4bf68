// One picture through a chain: decoded, rendered in a session of its own, written.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "hosts/cli/render_plan.h"
#include "platform/streamed_picture.h"

namespace vello::cli {

struct RenderSettings {
  std::string chain;  // its text, known to be whole
  std::optional<int> depth;
  int quality = 90;
  std::optional<double> dpi;
  bool explain = false;  // plan only
};

struct RenderReport {
  std::vector<std::string> errors;    // not empty: the task failed, though a picture may be written
  std::vector<std::string> warnings;  // what was done otherwise than one might think
  int64_t width = 0, height = 0;
  StreamedPicture::Storage storage = StreamedPicture::Storage::inMemory;  // of the source
  double decodeSeconds = 0, renderSeconds = 0, writeSeconds = 0;
  bool written = false;
  std::string plan;  // where that was all that was asked for
};

// Blocks; any thread. `progress` is told the finished share and abandons the rendering by returning false.
RenderReport renderTask(const RenderTask& task, const RenderSettings& settings,
                        const std::function<bool(double)>& progress);

}  // namespace vello::cli
