#include "bench/peers/process.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vello::bench {
namespace {

constexpr const char* kLog = "log.txt";

volatile std::sig_atomic_t stopped = 0;

[[noreturn]] void become(const Child& child, std::vector<char*>& argv) {
  if (chdir(child.folder.c_str()) != 0) _exit(126);
  const int log = open(kLog, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const int nothing = open("/dev/null", O_RDONLY);
  if (log < 0 || nothing < 0) _exit(126);
  dup2(nothing, STDIN_FILENO);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  for (const auto& [name, value] : child.environment) setenv(name.c_str(), value.c_str(), 1);
  if (child.cpuLimit > 0) {
    const rlimit limit{static_cast<rlim_t>(child.cpuLimit), static_cast<rlim_t>(child.cpuLimit)};
    setrlimit(RLIMIT_CPU, &limit);
  }
  execvp(argv[0], argv.data());
  _exit(127);
}

std::string logOf(const Child& child) {
  std::ifstream file(child.folder + "/" + kLog);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str().substr(0, 65536);
}

std::string lastLine(const std::string& text) {
  std::istringstream lines(text);
  std::string line, last;
  while (std::getline(lines, line))
    if (!line.empty()) last = line;
  return last;
}

std::string problemOf(const Child& child, int status) {
  if (WIFSIGNALED(status))
    return WTERMSIG(status) == SIGKILL || WTERMSIG(status) == SIGXCPU
               ? "stopped at the limit of time or memory"
               : std::string("died: ") + strsignal(WTERMSIG(status));
  if (WEXITSTATUS(status) == 0) return "";
  const std::string line = lastLine(logOf(child));
  return line.empty() ? "exit status " + std::to_string(WEXITSTATUS(status)) : line;
}

double secondsOf(const timeval& t) { return t.tv_sec + t.tv_usec * 1e-6; }

}  // namespace

Cost run(const Child& child) {
  std::vector<char*> argv;
  for (const std::string& argument : child.arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("no process can be started");
  if (pid == 0) become(child, argv);
  int status = 0;
  rusage usage{};
  while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR)
    if (stopped) kill(pid, SIGKILL);
  if (stopped) throw std::runtime_error("interrupted");
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  return {took.count(), secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime),
          int64_t{usage.ru_maxrss} * 1024, problemOf(child, status)};
}

std::string outputOf(const Child& child) {
  run(child);
  return logOf(child);
}

void stopOnSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) { stopped = 1; };
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

std::string findProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');)
    if (const std::string file = folder + "/" + name; access(file.c_str(), X_OK) == 0) return file;
  return "";
}

int usableCores() {
  cpu_set_t cores;
  return sched_getaffinity(0, sizeof cores, &cores) == 0 ? CPU_COUNT(&cores) : 1;
}

void keepToCores(int count) {
  cpu_set_t all, kept;
  CPU_ZERO(&kept);
  if (sched_getaffinity(0, sizeof all, &all) != 0) return;
  for (int core = 0; core < CPU_SETSIZE && count > 0; ++core)
    if (CPU_ISSET(core, &all)) CPU_SET(core, &kept), --count;
  sched_setaffinity(0, sizeof kept, &kept);
}

}  // namespace vello::bench
