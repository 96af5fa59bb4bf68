// The system log. Lines go to standard error unless a sink is set; safe from any thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vello {

// Fills the "%@" places of `format` from `arguments`, in order ("%%" is a percent sign; a place without an
// argument becomes "(null)").
std::string formatText(std::string_view format, const std::vector<std::string>& arguments);
// One log entry, written whole.
void logLine(std::string_view format, const std::vector<std::string>& arguments = {});

using LogSink = std::function<void(const std::string&)>;
// Replaces the sink for the whole process and returns the former; nullptr is standard error.
LogSink setLogSink(LogSink sink);

}  // namespace vello
