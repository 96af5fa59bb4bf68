// vello render: pictures through a chain.
#include <sys/resource.h>

#include <atomic>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>

#include "hosts/cli/commands.h"
#include "hosts/cli/console.h"
#include "hosts/cli/files.h"
#include "hosts/cli/interruption.h"
#include "hosts/cli/progress.h"
#include "hosts/cli/render_job.h"
#include "hosts/cli/source_files.h"
#include "platform/log.h"
#include "platform/resources.h"
#include "source/core/stack/chain_check.h"
#include "source/core/stack/chain_text.h"

namespace vello::cli {
namespace {

constexpr const char* kDetails =
    "The chain must be readable as a whole, its pictures included, before anything is written. A filter "
    "that\n"
    "fails is left out and named, and its picture counts as failed. Results are in the input's colour space "
    "when\n"
    "it is RGB, else in sRGB; resolution, profile and metadata are carried over. Alpha is kept where the "
    "input has\n"
    "it or the chain makes it; JPEG results are composited over white. An input is never overwritten, and a "
    "result\n"
    "is either whole or not there. An existing result is replaced.\n"
    "Example: vello render *.jpg --chain old.chain --out-dir prints --format jpeg --quality 92 --jobs 2";

std::string fixedText(double number, int digits) {
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed, digits);
  return std::string(buffer, end.ptr);
}

const char* storageKey(StreamedPicture::Storage storage) {
  switch (storage) {
    case StreamedPicture::Storage::rowByRow:
      return "kKPCommandLine_ReadRowByRow";
    case StreamedPicture::Storage::inMemory:
      return "kKPCommandLine_HeldInMemory";
    case StreamedPicture::Storage::temporaryFile:
      return "kKPCommandLine_SpooledToTemporaryFile";
  }
  return "";
}

std::string timesText(const RenderReport& report) {
  return ": " + std::to_string(report.width) + " x " + std::to_string(report.height) + ", " +
         localizedString(storageKey(report.storage)).value_or("") + ", decoded in " +
         fixedText(report.decodeSeconds, 2) + " s, rendered in " + fixedText(report.renderSeconds, 2) +
         " s, written in " + fixedText(report.writeSeconds, 2) + " s";
}

// Of the whole process, in MB.
double peakMemory() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

// Runs the tasks on some threads and tells of them in their order, however they finish.
class Batch {
 public:
  Batch(std::vector<RenderTask> tasks, RenderSettings settings, bool verbose)
      : tasks_(std::move(tasks)),
        settings_(std::move(settings)),
        verbose_(verbose),
        progress_(tasks_.size()),
        reports_(tasks_.size()) {}
  int run(int jobs);

 private:
  void work();
  RenderReport runTask(size_t index);
  void finished(size_t index, RenderReport report);
  void tell(size_t index);

  const std::vector<RenderTask> tasks_;
  const RenderSettings settings_;
  const bool verbose_;
  Progress progress_;
  std::atomic<size_t> next_{0};
  std::mutex mutex_;  // of all below
  std::vector<std::optional<RenderReport>> reports_;
  size_t told_ = 0, done_ = 0;
};

RenderReport Batch::runTask(size_t index) {
  const RenderTask& task = tasks_[index];
  RenderReport report;
  if (!task.problem.empty()) {
    report.errors.push_back(task.problem);
    return report;
  }
  return renderTask(task, settings_, [this, index](double share) {
    progress_.update(index, share * 0.99);  // the rest is writing
    return !interrupted();
  });
}

void Batch::work() {
  for (size_t index = next_++; index < tasks_.size() && !interrupted(); index = next_++)
    finished(index, runTask(index));
}

void Batch::finished(size_t index, RenderReport report) {
  progress_.update(index, 1);
  const std::lock_guard lock(mutex_);
  // What an interruption broke off is no failure of its own.
  if (interrupted() && !report.written) return;
  reports_[index] = std::move(report);
  for (; told_ < reports_.size() && reports_[told_]; ++told_) tell(told_);
}

void Batch::tell(size_t index) {
  const RenderReport& report = *reports_[index];
  const RenderTask& task = tasks_[index];
  for (const std::string& text : report.warnings) warning(text);
  for (const std::string& error : report.errors) failure(error);
  if (!report.plan.empty()) std::cout << report.plan;
  if (report.written && (verbose_ || !standardErrorIsTerminal()))
    notice(task.input + " -> " + task.output + (verbose_ ? timesText(report) : ""));
  if (report.errors.empty()) ++done_;
}

int Batch::run(int jobs) {
  std::vector<std::thread> threads;
  const size_t count = std::min(static_cast<size_t>(jobs), tasks_.size());
  for (size_t i = 1; i < count; ++i) threads.emplace_back([this] { work(); });
  work();
  for (std::thread& thread : threads) thread.join();
  progress_.finish();
  for (; told_ < reports_.size(); ++told_)
    if (reports_[told_]) tell(told_);
  const std::string sum = std::to_string(done_) + " of " + std::to_string(tasks_.size()) + " done";
  if (verbose_) notice("peak memory " + fixedText(peakMemory(), 0) + " MB");
  if (interrupted()) {
    failure("interrupted, " + sum);
    return kInterrupted;
  }
  return done_ == tasks_.size() ? kDone : tasks_.size() > 1 ? failure(sum) : kFailed;
}

// Why a picture cannot be decoded to its end, or nothing.
std::string damageIn(const std::string& path) {
  SourceFiles files(path, false);
  return files.error().empty() ? files.provideRest() : files.error();
}

// The pictures of a chain that can be read whole; else nothing, and everything in the way is said. Headers
// alone do not tell of damage: before a batch they are decoded, a single render finds it on the way.
std::optional<std::vector<std::string>> picturesOfWholeChain(const std::string& file, const std::string& text,
                                                             bool forBatch) {
  const std::vector<ChainProblem> problems = checkChain(text);
  for (const ChainProblem& problem : problems)
    if (problem.severity == ChainSeverity::error) failure(file + ": " + describe(problem));
  if (hasErrors(problems)) return std::nullopt;
  const ChainTextResult chain = readChainText(text);
  const std::set<std::string> paths = imagePathsInChain(chain.boxes());
  const std::string place = file + ": ";
  for (const std::string& path : paths)
    if (const std::string damage = forBatch ? damageIn(path) : ""; !damage.empty()) {
      failure(place + damage);
      return std::nullopt;
    }
  return std::vector<std::string>(paths.begin(), paths.end());
}

int runRender(const RenderArguments& arguments) {
  if (const auto problem = argumentsProblem(arguments)) return wrongUsage(*problem);
  const FileContents chain = readChainFile(arguments.chain);
  if (!chain.ok()) return failure(chain.error);
  const std::string text = textOf(chain);
  const auto pictures = picturesOfWholeChain(arguments.chain, text, !arguments.outputFolder.empty());
  if (!pictures) return kFailed;
  if (!arguments.outputFolder.empty()) {
    std::error_code problem;
    std::filesystem::create_directories(arguments.outputFolder, problem);
    if (problem) return failure(arguments.outputFolder + ": " + problem.message());
  }
  // The session's own lines tell what is told here with the picture's name.
  setLogSink([](const std::string&) {});
  // A reader of our messages that goes away must not end us in the middle of a file.
  std::signal(SIGPIPE, SIG_IGN);
  const InterruptionGuard guard;
  std::vector<std::string> kept = *pictures;
  kept.push_back(arguments.chain);
  RenderSettings settings{text, arguments.depth, arguments.quality.value_or(90), arguments.dpi,
                          arguments.explain};
  return Batch(planTasks(arguments, kept), std::move(settings), arguments.verbose).run(arguments.jobs);
}

}  // namespace

void addRenderCommand(CommandLine& line) {
  const auto arguments = std::make_shared<RenderArguments>();
  CLI::App* command = line.parser.add_subcommand("render", "Render pictures through a filter chain");
  command->footer(kDetails);
  command->add_option("INPUT", arguments->inputs, "The pictures: TIFF, PNG, JPEG or WebP")
      ->required()
      ->type_name("");
  command->add_option("--chain", arguments->chain, "The chain; - is standard input")
      ->required()
      ->type_name("FILE");
  command->add_option("-o,--output", arguments->output, "The result, of one picture: .tif, .png or .jpg")
      ->type_name("OUT");
  command
      ->add_option("--out-dir", arguments->outputFolder,
                   "The folder of the results, made if need be; they keep their inputs' names")
      ->type_name("DIR");
  command->add_option("--format", arguments->format, "Else by the result's name, or as the input")
      ->type_name("tiff|png|jpeg")
      ->check(CLI::IsMember({"tiff", "png", "jpeg"}).description(""));
  command->add_option("--depth", arguments->depth, "Bits per component; else as the input")
      ->type_name("8|16")
      ->check(CLI::IsMember({8, 16}).description(""));
  command->add_option("--quality", arguments->quality, "Of JPEG, 1 to 100; else 90")
      ->type_name("N")
      ->check(CLI::Range(1, 100).description(""));
  command->add_option("--dpi", arguments->dpi, "Resolution to record; else as the input")
      ->type_name("N")
      ->check(CLI::Range(1.0, 100000.0).description(""));
  command->add_option("--jobs", arguments->jobs, "Pictures at once, 1 to 256; else 1")
      ->type_name("N")
      ->check(CLI::Range(1, 256).description(""));
  command->add_flag("--explain", arguments->explain,
                    "Tell how the pictures would be rendered, and write none");
  command->add_flag("--verbose", arguments->verbose, "Tell times and peak memory");
  command->callback([&line, arguments] { line.run = [arguments] { return runRender(*arguments); }; });
}

}  // namespace vello::cli
