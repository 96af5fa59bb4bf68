#include "platform/log.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace vello {
namespace {

struct Log {
  std::recursive_mutex mutex;  // a sink may log itself
  LogSink sink;
};

Log& processLog() {
  static Log log;
  return log;
}

void writeToStandardError(std::string line) {
  if (!line.ends_with('\n')) line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

std::string formatText(std::string_view format, const std::vector<std::string>& arguments) {
  std::string text;
  size_t used = 0;
  while (true) {
    const size_t percent = format.find('%');
    text += format.substr(0, percent);
    if (percent == std::string_view::npos) return text;
    const std::string_view place = format.substr(percent, 2);
    if (place == "%@")
      text += used < arguments.size() ? arguments[used] : "(null)", ++used;
    else
      text += place == "%%" ? "%" : place;
    format.remove_prefix(percent + place.size());
  }
}

void logLine(std::string_view format, const std::vector<std::string>& arguments) {
  std::string line = formatText(format, arguments);
  Log& log = processLog();
  const std::lock_guard lock(log.mutex);
  const LogSink sink = log.sink;  // may be replaced while it runs
  if (sink)
    sink(line);
  else
    writeToStandardError(std::move(line));
}

LogSink setLogSink(LogSink sink) {
  Log& log = processLog();
  const std::lock_guard lock(log.mutex);
  return std::exchange(log.sink, std::move(sink));
}

}  // namespace vello
