#include "bench/peers/report.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <map>

namespace vello::bench {
namespace {

[[gnu::format(printf, 1, 2)]] std::string print(const char* format, ...) {
  va_list values;
  va_start(values, format);
  char* made = nullptr;
  const int length = vasprintf(&made, format, values);
  va_end(values);
  const std::string text = length < 0 ? "" : made;
  std::free(made);
  return text;
}

bool isBaseline(const JobResult& job) { return job.name == "noop" || job.name == "copy"; }
bool isStartup(const JobResult& job) { return job.name == "startup"; }
// Only whole runs are compared.
bool isWhole(const JobResult& job) { return isBaseline(job) || isStartup(job); }
bool isPeer(const Row& row) { return row.program != "vello"; }

const Row* fastestComparable(const JobResult& job) {
  const Row* best = nullptr;
  for (const Row& row : job.rows)
    if (isPeer(row) && row.error.empty() && row.resolved() && comparable(row.work) &&
        (!best || row.net < best->net))
      best = &row;
  return best;
}

// Whether a ratio means anything. Whole runs always do; what they take more than others may drown in noise.
bool canCompare(const JobResult& job, const Row& peer) {
  const Row* ours = job.of("vello");
  return ours && isPeer(peer) && peer.error.empty() &&
         (isWhole(job) || (peer.resolved() && ours->resolved()));
}

std::string rowText(const JobResult& job, const Row& row, int runs) {
  if (!row.error.empty()) return print("  %-12s %s\n", row.program.c_str(), row.error.c_str());
  const std::string net = isWhole(job) ? "" : print("%.3f +-%.3f %8.3f", row.net, row.noise, row.cpuNet);
  const std::string ratio = canCompare(job, row)           ? print("%.2f", timesFaster(job, row))
                            : isPeer(row) && !isWhole(job) ? "noise"
                                                           : "";
  const std::string fewer = row.runs < runs ? print("%s%d runs", row.note.empty() ? "" : "; ", row.runs) : "";
  const std::string difference = row.difference ? print("%.2f", *row.difference) : "";
  return print("  %-12s %-15s %8.3f %24s %7s %8.0f %8s  %s\n", row.program.c_str(), nameOf(row.work),
               row.seconds, net.c_str(), ratio.c_str(), row.peakBytes / 1e6, difference.c_str(),
               (row.note + fewer).c_str());
}

std::string jobText(const JobResult& job, int runs) {
  std::string text = print("\n%s, %.3g MP\n", job.title.c_str(), job.size.megapixels());
  for (const Row& row : job.rows) text += rowText(job, row, runs);
  const Row* best = fastestComparable(job);
  if (!isWhole(job) && best && canCompare(job, *best))
    text +=
        print("  against the fastest in float, %s: %.2f\n", best->program.c_str(), timesFaster(job, *best));
  return text;
}

// Over all jobs of one size that both did; start-up and no-operations apart.
struct Mean {
  double logarithms = 0;
  int count = 0, inNoise = 0;
  double value() const { return std::exp(logarithms / count); }
};

Mean geometricMean(const std::vector<JobResult>& results, Size size, const std::string& program) {
  Mean mean;
  for (const JobResult& job : results) {
    const Row* peer = job.of(program);
    if (!peer || !job.of("vello") || isWhole(job) || job.size.width != size.width) continue;
    if (!canCompare(job, *peer)) {
      ++mean.inNoise;
      continue;
    }
    mean.logarithms += std::log(timesFaster(job, *peer));
    ++mean.count;
  }
  return mean;
}

// One entry for each size, by its width.
std::map<int, Size> sizesOf(const std::vector<JobResult>& results) {
  std::map<int, Size> sizes;
  for (const JobResult& job : results)
    if (!isStartup(job)) sizes[job.size.width] = job.size;
  return sizes;
}

std::string smallTable(const std::vector<JobResult>& results, const char* title, bool (*wanted)(const Row&)) {
  std::string text;
  for (const JobResult& job : results)
    for (const Row& row : job.rows)
      if (!isWhole(job) && wanted(row) && canCompare(job, row))
        text += print("  %6.3g MP  %-28s %-12s %8.2f\n", job.size.megapixels(), job.title.c_str(),
                      row.program.c_str(), timesFaster(job, row));
  return text.empty() ? "" : std::string("\n") + title + "\n" + text;
}

std::string summary(const std::vector<JobResult>& results) {
  std::string text = smallTable(results, "Times faster than peers in float",
                                [](const Row& row) { return comparable(row.work); });
  text += smallTable(results, "Times faster than peers in 8-bit integers",
                     [](const Row& row) { return row.work == Work::integer8; });
  for (const auto& [width, size] : sizesOf(results))
    for (const char* program : {"gegl", "convert"})
      if (const Mean mean = geometricMean(results, size, program); mean.count > 0)
        text += print("\ngeometric mean over %s, %.3g MP: %.2f (%d jobs, %d more in the noise)", program,
                      size.megapixels(), mean.value(), mean.count, mean.inNoise);
  return text.empty() ? "" : text + "\n";
}

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text)
    if (c == '"' || c == '\\')
      out += {'\\', c};
    else if (static_cast<unsigned char>(c) < 0x20)
      out += print("\\u%04x", c);
    else
      out += c;
  return out + "\"";
}

std::string rowJson(const JobResult& job, const Row& row) {
  std::string text = print("{\"program\": %s, \"work\": %s, \"note\": %s", quoted(row.program).c_str(),
                           quoted(nameOf(row.work)).c_str(), quoted(row.note).c_str());
  if (!row.error.empty()) return text + ", \"error\": " + quoted(row.error) + "}";
  text += print(", \"runs\": %d, \"seconds\": %.6f, \"peakBytes\": %lld", row.runs, row.seconds,
                static_cast<long long>(row.peakBytes));
  if (!isWhole(job))
    text += print(", \"net\": %.6f, \"netCpu\": %.6f, \"noise\": %.6f, \"resolved\": %s", row.net, row.cpuNet,
                  row.noise, row.resolved() ? "true" : "false");
  if (canCompare(job, row)) text += print(", \"timesFaster\": %.4f", timesFaster(job, row));
  if (row.difference) text += print(", \"meanDifference\": %.4f", *row.difference);
  return text + "}";
}

std::string jobJson(const JobResult& job) {
  std::string text = print("  {\"job\": %s, \"width\": %d, \"height\": %d, \"rows\": [",
                           quoted(job.name).c_str(), job.size.width, job.size.height);
  for (size_t i = 0; i < job.rows.size(); ++i) text += (i ? ",\n    " : "\n    ") + rowJson(job, job.rows[i]);
  return text + "]}";
}

}  // namespace

double timesFaster(const JobResult& job, const Row& peer) {
  const Row& ours = *job.of("vello");
  if (isWhole(job)) return peer.seconds / ours.seconds;
  return peer.net / ours.net;
}

std::string tableOf(const std::vector<JobResult>& results, const Settings& settings) {
  std::string text = print("%d threads, medians of %d runs\n", settings.threads, settings.runs);
  for (const Program& program : settings.programs)
    text += print("  %-12s %s\n", program.name.c_str(), program.version.c_str());
  text += print(
      "\nnet: whole run less %s the same result; reading a second picture is work.\n"
      "faster: net of the peer over ours.\n"
      "net CPU: the same in processor time of all threads. noise: too small a difference to tell.\n"
      "differs: mean distance from our result in steps of 8 bit.\n\n",
      settings.copyBaseline ? "copying" : "loading, converting there and back and saving");
  text += print("  %-12s %-15s %8s %15s %8s %7s %8s %8s\n", "program", "works in", "seconds", "net",
                "net CPU", "faster", "peak MB", "differs");
  for (const JobResult& job : results) text += jobText(job, settings.runs);
  return text + summary(results);
}

std::string jsonOf(const std::vector<JobResult>& results, const Settings& settings) {
  std::string text = print("{\"threads\": %d, \"runs\": %d, \"baseline\": \"%s\",\n \"programs\": [",
                           settings.threads, settings.runs, settings.copyBaseline ? "copy" : "noop");
  for (size_t i = 0; i < settings.programs.size(); ++i)
    text += print("%s{\"name\": %s, \"version\": %s}", i ? ", " : "",
                  quoted(settings.programs[i].name).c_str(), quoted(settings.programs[i].version).c_str());
  text += "],\n \"results\": [\n";
  for (size_t i = 0; i < results.size(); ++i)
    text += jobJson(results[i]) + (i + 1 < results.size() ? ",\n" : "\n");
  text += " ],\n \"geometricMeans\": [";
  std::string means;
  for (const auto& [width, size] : sizesOf(results))
    for (const char* program : {"gegl", "convert"})
      if (const Mean mean = geometricMean(results, size, program); mean.count > 0)
        means += print("%s{\"program\": \"%s\", \"megapixels\": %.4f, \"timesFaster\": %.4f, \"jobs\": %d}",
                       means.empty() ? "" : ", ", program, size.megapixels(), mean.value(), mean.count);
  return text + means + "]}\n";
}

}  // namespace vello::bench
