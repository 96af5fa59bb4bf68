// peers: the same jobs with our command line and with comparable programs, one after another on the same
// files.
#include <sys/statvfs.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/peers/report.h"

namespace {

namespace fs = std::filesystem;
using namespace vello::bench;

// A new folder in memory where there is room for pictures and results, else among the temporary files.
class Scratch {
 public:
  Scratch(std::string parent, double bytes) {
    if (parent.empty()) parent = roomIn("/dev/shm") > bytes ? "/dev/shm" : fs::temp_directory_path().string();
    std::string pattern = fs::absolute(parent) / "vello-peers-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error(parent + ": no folder can be made here");
    path = pattern;
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path;

 private:
  static double roomIn(const std::string& folder) {
    struct statvfs room;
    if (access(folder.c_str(), W_OK) != 0 || statvfs(folder.c_str(), &room) != 0) return 0;
    return static_cast<double>(room.f_bavail) * static_cast<double>(room.f_frsize);
  }
};

// "24" megapixels, or "6000x4000".
Size sizeFromText(const std::string& text) {
  size_t used = 0;
  Size size;
  if (text.find('x') == std::string::npos) {
    size = sizeOfMegapixels(std::stod(text, &used));
  } else if (std::sscanf(text.c_str(), "%dx%d", &size.width, &size.height) == 2) {
    used = text.size();
  }
  if (used != text.size() || size.width < 1 || size.height < 1 || size.megapixels() > 2000)
    throw std::runtime_error("\"" + text + "\" is neither megapixels nor WIDTHxHEIGHT");
  return size;
}

std::vector<Program> chosen(std::vector<Program> all, const std::vector<std::string>& names) {
  for (const std::string& name : names)
    if (std::none_of(all.begin(), all.end(), [&](const Program& p) { return p.name == name; }))
      throw std::runtime_error("no program \"" + name + "\" is known");
  if (!names.empty())
    std::erase_if(
        all, [&](const Program& p) { return std::find(names.begin(), names.end(), p.name) == names.end(); });
  return all;
}

struct Options {
  std::vector<std::string> sizes{"24"}, programs;
  std::string jobs, json, work, vello = fs::read_symlink("/proc/self/exe").replace_filename("vello").string();
  std::string baseline = "noop";
  int threads = usableCores();
};

void addOptions(CLI::App& app, Options& options, Settings& settings) {
  app.add_option("--size", options.sizes, "megapixels or WIDTHxHEIGHT, several apart by commas")
      ->delimiter(',');
  app.add_option("--jobs", options.jobs, "regular expression: only jobs with such names");
  app.add_option("--programs", options.programs, "vello,gegl,vips-linear,vips,convert,gmic")->delimiter(',');
  app.add_option("--runs", settings.runs, "runs a job, of which the median counts")
      ->check(CLI::Range(1, 100));
  app.add_option("--patience", settings.patience,
                 "seconds after which a program is not run again for the same job");
  app.add_option("--threads", options.threads, "threads and cores for each program")
      ->check(CLI::Range(1, 1024));
  app.add_option("--json", options.json, "also write the figures to this file");
  app.add_option("--baseline", options.baseline,
                 "what is taken off: noop converts to the working form and back, copy loads and saves")
      ->check(CLI::IsMember({"noop", "copy"}));
  app.add_option("--limit", settings.cpuLimit, "seconds of computing after which a program is stopped");
  app.add_option("--work", options.work, "folder for the pictures; memory where there is room for them");
  app.add_option("--vello", options.vello, "our program; the one beside this");
}

int runAll(const Options& options, Settings& settings) {
  std::vector<Size> sizes;
  for (const std::string& text : options.sizes) sizes.push_back(sizeFromText(text));
  double largest = 0;
  for (const Size& size : sizes) largest = std::max(largest, size.megapixels());
  stopOnSignals();
  const Scratch scratch(options.work, largest * 1e6 * 60);
  settings.folder = scratch.path;
  settings.jobs = std::regex(options.jobs);
  settings.threads = std::min(options.threads, usableCores());
  settings.copyBaseline = options.baseline == "copy";
  settings.programs = chosen(findPrograms(options.vello, scratch.path), options.programs);
  keepToCores(settings.threads);
  std::vector<JobResult> results;
  for (const Size& size : sizes)
    for (JobResult& result : measure(size, settings)) results.push_back(std::move(result));
  std::fputs(tableOf(results, settings).c_str(), stdout);
  if (!options.json.empty() && !(std::ofstream(options.json) << jsonOf(results, settings)).flush())
    throw std::runtime_error(options.json + ": cannot be written");
  return 0;
}

}  // namespace

int main(int count, char** words) {
  CLI::App app("Times the jobs of image editing with Vello and with comparable programs");
  Options options;
  Settings settings;
  addOptions(app, options, settings);
  CLI11_PARSE(app, count, words);
  try {
    return runAll(options, settings);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "peers: %s\n", error.what());
    return 1;
  }
}
