#include "bench/peers/measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <numeric>

namespace vello::bench {
namespace {

namespace fs = std::filesystem;

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n == 0 ? 0 : (values[(n - 1) / 2] + values[n / 2]) / 2;
}

double medianDistance(const std::vector<double>& values, double from) {
  std::vector<double> distances;
  for (double v : values) distances.push_back(std::abs(v - from));
  return median(distances);
}

// What one program's runs of one job took.
struct Series {
  std::vector<double> whole, net, cpuNet;
  double spent() const { return std::accumulate(whole.begin(), whole.end(), 0.0); }
  void into(Row& row) const {
    row.runs = static_cast<int>(whole.size());
    row.seconds = median(whole);
    row.net = median(net);
    row.cpuNet = median(cpuNet);
    row.noise = medianDistance(net, row.net);
  }
};

// The pictures of one size in a folder, and what is run on them.
class Bench {
 public:
  Bench(Size size, const Settings& settings)
      : settings_(settings), size_(size), environment_(environmentFor(settings.threads, settings.folder)) {
    writePhoto(file("a.tif"), size, 1);
    writePhoto(file("b.tif"), size, 2);
    writePhoto(file("pixel.tif"), {1, 1}, 1);
  }

  JobResult run(const Job& job);

 private:
  std::string file(const std::string& name) const { return settings_.folder + "/" + name; }
  Job baseline() const { return settings_.copyBaseline ? copyOperation() : noOperation(); }
  std::string prepare(const Program& program, const Job& job, const std::string& picture);
  Cost runOn(const Program& program, const Job& job, const std::string& picture);
  Row rowFor(const Program& program, const Job& job, const std::string& picture);
  void runOnce(const Program& program, const Job& job, Row& row, Series& series);
  std::string takeResult(const Program& program, Row& row);

  const Settings& settings_;
  Size size_;
  std::vector<std::pair<std::string, std::string>> environment_;
};

// Ours needs its chain as a file. Returns what is wrong.
std::string Bench::prepare(const Program& program, const Job& job, const std::string& picture) {
  const Command& command = *job.of(program.name);
  const std::string chain = job.name + ".chain";
  if (!command.chain.empty()) std::ofstream(file(chain)) << command.chain;
  if (command.filters.empty()) return "";
  std::vector<std::string> words{program.path, "chain", "new", "--for", picture, "-o", chain};
  words.insert(words.end(), command.filters.begin(), command.filters.end());
  return vello::bench::run({words, settings_.folder, environment_, settings_.cpuLimit}).error;
}

Cost Bench::runOn(const Program& program, const Job& job, const std::string& picture) {
  std::vector<std::string> words = job.of(program.name)->arguments;
  words[0] = program.path;
  std::replace(words.begin(), words.end(), std::string("a.tif"), picture);
  std::replace(words.begin(), words.end(), std::string("job.chain"), job.name + ".chain");
  fs::remove(file("out.tif"));
  Cost cost = vello::bench::run({words, settings_.folder, environment_, settings_.cpuLimit});
  if (cost.error.empty() && !sizeOfFile(file("out.tif"))) cost.error = "wrote no picture";
  return cost;
}

// Keeps a result, uncompressed as the source is, for the runs without work.
std::string Bench::takeResult(const Program& program, Row& row) {
  const std::string result = "result-" + program.name + ".tif", ours = file("result-vello.tif");
  if (!writeUncompressed(file("out.tif"), file(result))) return "wrote a TIFF file of an odd kind";
  if (program.name != "vello" && fs::exists(ours)) row.difference = meanDifference(ours, file(result));
  return prepare(program, baseline(), result);
}

Row Bench::rowFor(const Program& program, const Job& job, const std::string& picture) {
  Row row{.program = program.name};
  const Command* command = job.of(program.name);
  if (command) {
    row.work = command->work;
    row.note = command->note;
  }
  row.error = program.path.empty() ? program.version
              : !command           ? "has no such operation"
                                   : prepare(program, job, picture);
  return row;
}

// A run with the work and one without, close together, for the load of a machine comes and goes. The latter
// loads and saves the job's own result, since what saving costs depends on what is saved.
void Bench::runOnce(const Program& program, const Job& job, Row& row, Series& series) {
  const bool startup = job.name == "startup";
  const Cost cost = runOn(program, job, startup ? "pixel.tif" : "a.tif");
  row.error = cost.error;
  row.peakBytes = std::max(row.peakBytes, cost.peakBytes);
  series.whole.push_back(cost.seconds);
  if (!row.error.empty() || startup) return;
  if (series.net.empty()) row.error = takeResult(program, row);
  if (!row.error.empty()) return;
  const Cost without = runOn(program, baseline(), "result-" + program.name + ".tif");
  row.error = without.error;
  series.net.push_back(cost.seconds - without.seconds);
  series.cpuNet.push_back(cost.cpuSeconds - without.cpuSeconds);
}

JobResult Bench::run(const Job& job) {
  JobResult result{job.name == "startup" ? Size{1, 1} : size_, job.name, job.title, {}};
  for (const Program& program : settings_.programs)
    result.rows.push_back(rowFor(program, job, job.name == "startup" ? "pixel.tif" : "a.tif"));
  std::vector<Series> series(result.rows.size());
  for (int run = 0; run < settings_.runs; ++run)
    for (size_t i = 0; i < series.size(); ++i)
      if (result.rows[i].error.empty() && series[i].spent() < settings_.patience)
        runOnce(settings_.programs[i], job, result.rows[i], series[i]);
  for (size_t i = 0; i < series.size(); ++i) series[i].into(result.rows[i]);
  for (const Program& program : settings_.programs) fs::remove(file("result-" + program.name + ".tif"));
  return result;
}

}  // namespace

const Row* JobResult::of(const std::string& program) const {
  for (const Row& row : rows)
    if (row.program == program && row.error.empty()) return &row;
  return nullptr;
}

std::vector<JobResult> measure(Size size, const Settings& settings) {
  std::fprintf(stderr, "making pictures of %d x %d\n", size.width, size.height);
  Bench bench(size, settings);
  std::vector<Job> jobs{noOperation(), copyOperation()};
  for (Job& job : jobsFor(size)) jobs.push_back(std::move(job));
  std::vector<JobResult> results;
  for (const Job& job : jobs) {
    if (!std::regex_search(job.name, settings.jobs)) continue;
    std::fprintf(stderr, "%s\n", job.title.c_str());
    results.push_back(bench.run(job));
  }
  return results;
}

}  // namespace vello::bench
