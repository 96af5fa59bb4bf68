#include "hosts/cli/render_job.h"

#include <exception>
#include <new>

#include "hosts/cli/stopwatch.h"
#include "hosts/cli/streamed_render.h"
#include "source/core/session/KPImageFilter.h"
#include "source/parameters/chain_pictures.h"

namespace vello::cli {
namespace {

// What is found out only on the way; a render that finds it out is done again.
struct Way {
  bool randomAccess = false;  // the recipe reads a picture in no order
  bool keepAlpha = false;     // not every pixel of the result is opaque
};

PictureRequest requestFor(KPImageFilterWindowController& session, const StreamedPicture& source,
                          const RenderTask& task, const RenderSettings& settings) {
  PictureRequest request;
  request.image = session.filterImage();
  request.rect = session.sourceExtent();
  request.format = task.format;
  request.depth = resultDepth(settings.depth, source.info().bitsPerComponent, task.format);
  request.space = session.resultColorSpace();
  request.keepAlpha = source.info().hasAlpha;
  request.premultiplied = task.format == ImageFormat::tiff && source.bitmap().layout().premultiplied();
  request.options = KPImageFilterWindowController::contextOptions();
  return request;
}

ImageWriteOptions optionsFor(const StreamedPicture& source, const RenderTask& task,
                             const RenderSettings& settings) {
  ImageWriteOptions options;
  options.format = task.format;
  options.jpegQuality = settings.quality;
  options.metadata = source.metadata();
  if (settings.dpi) options.metadata.dpiX = options.metadata.dpiY = settings.dpi;
  return options;
}

void reportFailures(const KPFilterStack& stack, const RenderTask& task, RenderReport& report) {
  for (const KPFilterStack::Failure& failure : stack.failures())
    report.errors.push_back(task.input + ": filter " + std::to_string(failure.index) + ", " +
                            failure.filterName + ", was left out: " + failure.reason);
}

void noteColorSpace(const Bitmap& source, const RenderTask& task, RenderReport& report) {
  const ColorSpacePtr& space = source.space();
  if (space && resultSpace(source) != space)
    report.warnings.push_back(task.input + ": no result can be in its colour space (" + space->name() +
                              "): it is sRGB");
}

// Names the input where nothing else is named.
std::string named(const std::string& error, const RenderTask& task) {
  const bool known = error.rfind(task.input, 0) == 0 || error.rfind(task.output, 0) == 0;
  return known ? error : task.input + ": " + error;
}

void addResult(const StreamedResult& result, const StreamedPicture& source, const RenderTask& task,
               RenderReport& report) {
  report.warnings.insert(report.warnings.end(), source.warnings().begin(), source.warnings().end());
  report.warnings.insert(report.warnings.end(), result.warnings.begin(), result.warnings.end());
  report.decodeSeconds += result.decodeSeconds;
  report.writeSeconds += result.writeSeconds;
  report.written = result.ok();
  if (!result.ok()) report.errors.push_back(named(result.error, task));
}

void explain(const PictureRequest& picture, const RenderTask& task, RenderReport& report) {
  RenderPlan plan;
  const std::string error = CIContext(picture.options).explain(renderRequestFor(picture), plan);
  const auto megabytes = static_cast<int64_t>(plan.predictedBytes / 1e6) + 1;
  report.plan = task.input + ": " + plan.text + "at most " + std::to_string(megabytes) +
                " MB of intermediates, " + std::to_string(static_cast<int64_t>(plan.predictedSamples)) +
                " samples\n";
  if (!error.empty()) report.errors.push_back(named(error, task));
}

// False when it is to be done again in a `way` that was changed.
bool renderIn(Way& way, const RenderTask& task, const RenderSettings& settings,
              const std::function<bool(double)>& progress, RenderReport& report) {
  SourceFiles files(task.input, way.randomAccess);
  if (!files.error().empty()) return report.errors.push_back(files.error()), true;
  const StreamedPicture& source = files.source();
  report.width = source.bitmap().width();
  report.height = source.bitmap().height();
  report.storage = source.storage();
  noteColorSpace(source.bitmap(), task, report);

  const auto session = KPImageFilter::imageFilterWithCGImage({source.bitmap(), 0});
  KPImageFilterWindowController& controller = session->windowController();
  {
    const PictureReaderScope reader(
        [&](const std::string& path, int64_t maxPixels) { return files.picture(path, maxPixels); });
    if (!controller.applyFilterChain(settings.chain))
      return report.errors.push_back(task.input + ": the chain could not be applied"), true;
  }
  if (!files.error().empty()) return report.errors.push_back(task.input + ": " + files.error()), true;
  PictureRequest picture = requestFor(controller, source, task, settings);
  picture.keepAlpha |= way.keepAlpha;
  picture.progress = progress;
  if (settings.explain) {
    explain(picture, task, report);
    reportFailures(controller.filterStack(), task, report);
    return true;
  }
  if (!way.randomAccess && !CIContext(picture.options).readsInBands(renderRequestFor(picture)))
    return way.randomAccess = true, false;
  const StreamedResult result =
      renderToFile({picture, files, task.output, optionsFor(source, task, settings)});
  if (result.needsAlpha) return way.keepAlpha = true, false;
  reportFailures(controller.filterStack(), task, report);
  addResult(result, source, task, report);
  return true;
}

void render(const RenderTask& task, const RenderSettings& settings,
            const std::function<bool(double)>& progress, RenderReport& report) {
  double seconds = 0;
  {
    const SecondsSpent spent(seconds);
    for (Way way; !renderIn(way, task, settings, progress, report);) report = {};
  }
  report.renderSeconds = seconds - report.decodeSeconds - report.writeSeconds;
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
