// What the program says: results on standard output, everything else on standard error, whole lines from any
// thread.
#pragma once

#include <string>

namespace vello::cli {

// Text for standard output, as it stands.
void say(const std::string& text);
// False when standard output could not take everything that was said.
bool flushOutput();

// One line on standard error.
void notice(const std::string& text);
// "vello: warning: text" on standard error.
void warning(const std::string& text);
// "vello: text" on standard error; returns the status for the caller to return.
int failure(const std::string& text);
int wrongUsage(const std::string& text);

bool standardErrorIsTerminal();
// A line that stays at the bottom of the terminal below everything said; empty removes it. Does nothing
// without a terminal.
void setStatusLine(const std::string& text);

}  // namespace vello::cli
