// What is logged during a test.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/log.h"

namespace vello {

// Log lines of its lifetime.
class LogCapture {
 public:
  LogCapture() : former_(setLogSink([this](const std::string& line) { lines.push_back(line); })) {}
  ~LogCapture() { setLogSink(former_); }
  bool has(std::string_view part) const {
    for (const std::string& line : lines)
      if (line.find(part) != std::string::npos) return true;
    return false;
  }
  std::vector<std::string> lines;

 private:
  LogSink former_;
};

}  // namespace vello
