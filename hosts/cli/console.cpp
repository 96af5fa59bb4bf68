#include "hosts/cli/console.h"

#include <unistd.h>

#include <cstdio>
#include <mutex>

#include "hosts/cli/commands.h"

namespace vello::cli {
namespace {

constexpr const char* kProgramPrefix = "vello: ";
constexpr const char* kEraseLine = "\r\033[K";

std::mutex consoleMutex;
std::string statusLine;
bool outputFailed = false;

void writeTo(std::FILE* stream, const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stream) != text.size() && stream == stdout)
    outputFailed = true;
}

}  // namespace

void say(const std::string& text) {
  const std::lock_guard lock(consoleMutex);
  writeTo(stdout, text);
}

bool flushOutput() {
  const std::lock_guard lock(consoleMutex);
  return std::fflush(stdout) == 0 && !outputFailed;
}

void notice(const std::string& text) {
  const std::lock_guard lock(consoleMutex);
  const bool hasStatus = !statusLine.empty();
  writeTo(stderr, (hasStatus ? kEraseLine : "") + text + "\n" + statusLine);
  std::fflush(stderr);
}

void warning(const std::string& text) { notice(kProgramPrefix + ("warning: " + text)); }

int failure(const std::string& text) {
  notice(kProgramPrefix + text);
  return kFailed;
}

int wrongUsage(const std::string& text) {
  notice(kProgramPrefix + text);
  return kWrongUsage;
}

bool standardErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

void setStatusLine(const std::string& text) {
  if (!standardErrorIsTerminal()) return;
  const std::lock_guard lock(consoleMutex);
  writeTo(stderr, kEraseLine + text);
  std::fflush(stderr);
  statusLine = text;
}

}  // namespace vello::cli
