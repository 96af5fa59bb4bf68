#include "hosts/cli/render_job.h"

#include <chrono>
#include <exception>
#include <new>

#include "hosts/cli/picture.h"
#include "source/core/session/KPImageFilter.h"

namespace vello::cli {
namespace {

// Seconds since it was made or last asked.
class Stopwatch {
 public:
  double lap() {
    const auto now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return seconds;
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point last_ = Clock::now();
};

PictureRequest requestFor(KPImageFilterWindowController& session, const ImageReadResult& source,
                          const RenderTask& task, const RenderSettings& settings) {
  PictureRequest request;
  request.image = session.filterImage();
  request.rect = session.sourceExtent();
  request.format = task.format;
  request.depth = resultDepth(settings.depth, source.info.bitsPerComponent, task.format);
  request.space = session.resultColorSpace();
  request.keepAlpha = source.info.hasAlpha;
  request.premultiplied = task.format == ImageFormat::tiff && source.bitmap.layout().premultiplied();
  request.options = KPImageFilterWindowController::contextOptions();
  return request;
}

void reportFailures(const KPFilterStack& stack, const RenderTask& task, RenderReport& report) {
  for (const KPFilterStack::Failure& failure : stack.failures())
    report.errors.push_back(task.input + ": filter " + std::to_string(failure.index) + ", " +
                            failure.filterName + ", was left out: " + failure.reason);
}

void writeResult(const Picture& picture, const ImageReadResult& source, const RenderTask& task,
                 const RenderSettings& settings, RenderReport& report) {
  ImageWriteOptions options;
  options.format = task.format;
  options.jpegQuality = settings.quality;
  options.metadata = source.metadata;
  if (settings.dpi) options.metadata.dpiX = options.metadata.dpiY = settings.dpi;
  if (const auto problem = writeImageFile(task.output, picture.bitmap, options))
    report.errors.push_back(*problem);
  else
    report.written = true;
}

void noteColorSpace(const ImageReadResult& source, const RenderTask& task, RenderReport& report) {
  const ColorSpacePtr& space = source.bitmap.space();
  if (space && resultSpace(source.bitmap) != space)
    report.warnings.push_back(task.input + ": no result can be in its colour space (" + space->name() +
                              "): it is sRGB");
}

void render(const RenderTask& task, const RenderSettings& settings,
            const std::function<bool(double)>& progress, RenderReport& report) {
  Stopwatch watch;
  const ImageReadResult source = readImageFile(task.input);
  report.decodeSeconds = watch.lap();
  report.warnings = source.warnings;
  if (!source.ok()) return report.errors.push_back(source.error);
  report.width = source.bitmap.width();
  report.height = source.bitmap.height();
  noteColorSpace(source, task, report);

  const auto session = KPImageFilter::imageFilterWithCGImage({source.bitmap, 0});
  KPImageFilterWindowController& controller = session->windowController();
  if (!controller.applyFilterChain(settings.chain))
    return report.errors.push_back(task.input + ": the chain could not be applied");
  PictureRequest request = requestFor(controller, source, task, settings);
  request.progress = progress;
  reportFailures(controller.filterStack(), task, report);
  const Picture picture = renderPicture(request);
  report.renderSeconds = watch.lap();
  if (!picture.ok()) return report.errors.push_back(task.input + ": " + picture.error);
  writeResult(picture, source, task, settings, report);
  report.writeSeconds = watch.lap();
}

}  // namespace

RenderReport renderTask(const RenderTask& task, const RenderSettings& settings,
                        const std::function<bool(double)>& progress) {
  RenderReport report;
  try {
    render(task, settings, progress, report);
  } catch (const std::bad_alloc&) {
    report.errors.push_back(task.input + ": memory is short");
  } catch (const std::exception& problem) {
    report.errors.push_back(task.input + ": " + problem.what());
  }
  return report;
}

}  // namespace vello::cli
