// Running the program as a user would: its arguments, what it says and how it ends. And a folder to run it
// in.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vello::test {

namespace fs = std::filesystem;

// A new folder that is gone with its contents at the end.
class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "vello-test-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
  }
  ~Folder() { fs::remove_all(root_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const std::string& name) const { return (root_ / name).string(); }
  // The names of what lies in a folder of it, sorted.
  std::vector<std::string> names(const std::string& folder = ".") const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(root_ / folder))
      found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  fs::path root_;
};

struct Ended {
  int status = -1;  // -1: by a signal
  std::string output, errors;
};

struct RunOptions {
  std::string input;                   // standard input
  rlim_t largestFile = RLIM_INFINITY;  // bytes
  std::function<int(const std::string& errors)>
      onError;  // a signal to send once, by what it said so far; 0: none
};

// One running program, its two streams read until both end.
class Program {
 public:
  Program(const std::vector<std::string>& arguments, const RunOptions& options) {
    for (auto* ends : {&input_, &output_, &errors_})
      if (pipe2(ends->data(), O_CLOEXEC) != 0) std::abort();
    pid_ = fork();
    if (pid_ == 0) runChild(arguments, options);
    close(input_[0]);
    close(output_[1]);
    close(errors_[1]);
    if (write(input_[1], options.input.data(), options.input.size()) < 0) std::abort();
    close(input_[1]);
  }

  Ended wait(const RunOptions& options) {
    Ended ended;
    bool sent = false;
    std::array<pollfd, 2> open{{{output_[0], POLLIN, 0}, {errors_[0], POLLIN, 0}}};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
      poll(open.data(), open.size(), -1);
      drain(open[0], ended.output);
      drain(open[1], ended.errors);
      const int number = options.onError && !sent ? options.onError(ended.errors) : 0;
      if (number != 0) sent = kill(pid_, number) == 0;
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
    return ended;
  }

 private:
  void runChild(const std::vector<std::string>& arguments, const RunOptions& options) {
    dup2(input_[0], 0);
    dup2(output_[1], 1);
    dup2(errors_[1], 2);
    const rlimit limit{options.largestFile, options.largestFile};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGINT, SIG_DFL);  // shells ignore it for what they run in the background
    std::vector<char*> argv{const_cast<char*>(VELLO_PROGRAM)};
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(VELLO_PROGRAM, argv.data());
    _exit(127);
  }
  static void drain(pollfd& stream, std::string& text) {
    if (stream.fd < 0 || (stream.revents & (POLLIN | POLLHUP)) == 0) return;
    std::array<char, 4096> block;
    const ssize_t count = read(stream.fd, block.data(), block.size());
    if (count > 0) {
      text.append(block.data(), static_cast<size_t>(count));
    } else {
      close(stream.fd);
      stream.fd = -1;
    }
  }

  std::array<int, 2> input_, output_, errors_;
  pid_t pid_ = 0;
};

inline Ended vello(const std::vector<std::string>& arguments, const RunOptions& options = {}) {
  return Program(arguments, options).wait(options);
}

}  // namespace vello::test
