// What a thread or the process carries beside its work: the log, the assertion handler, shared context.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "platform/assertion.h"
#include "platform/exception.h"
#include "platform/log.h"
#include "platform/thread_dictionary.h"

using namespace vello;

namespace {

TEST(Log, FillsThePlacesInOrder) {
  const struct {
    const char* format;
    std::vector<std::string> arguments;
    const char* text;
  } kRows[] = {{"%@ and %@", {"a", "%@"}, "a and %@"},
               {"%@%@", {"a"}, "a(null)"},
               {"none", {"a"}, "none"},
               {"100%% %d %", {}, "100% %d %"},
               {"", {}, ""}};
  for (const auto& row : kRows) EXPECT_EQ(formatText(row.format, row.arguments), row.text);
}

TEST(Log, ASinkTakesTheLinesOfAllThreadsAndMayLogItself) {
  std::vector<std::string> lines;
  const LogSink former = setLogSink([&](const std::string& line) {
    lines.push_back(line);
    if (line == "outer") logLine("inner");
  });
  std::thread([] { logLine("outer"); }).join();
  setLogSink(former);
  EXPECT_EQ(lines, (std::vector<std::string>{"outer", "inner"}));
}

TEST(Log, StandardErrorTakesWholeLines) {
  const LogSink former = setLogSink(nullptr);
  testing::internal::CaptureStderr();
  logLine("a");
  logLine("b\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\nb\n");
  setLogSink(former);
}

TEST(Assertion, TheDefaultRaisesAndAHandlerMayReturn) {
  const AssertionFailure failure{"f", "file", 266, "why"};
  const LogSink former = setLogSink([](const std::string&) {});
  try {
    reportAssertionFailure(failure);
    ADD_FAILURE() << "nothing was raised";
  } catch (const KPException& e) {
    EXPECT_EQ(e.name(), NSInternalInconsistencyException);
    EXPECT_EQ(e.reason(), "why");
  }
  setLogSink(former);
  int line = 0;
  setAssertionHandler([&](const AssertionFailure& f) { line = f.line; });
  reportAssertionFailure(failure);
  EXPECT_EQ(line, 266);
  EXPECT_TRUE(setAssertionHandler(nullptr));
}

TEST(ThreadDictionary, BelongsToItsThreadAndForgetsEmptyValues) {
  setThreadDictionaryValue("k", std::make_shared<int>(5));
  std::thread([] { EXPECT_FALSE(threadDictionaryValue("k").has_value()); }).join();
  EXPECT_EQ(*std::any_cast<std::shared_ptr<int>>(threadDictionaryValue("k")), 5);
  setThreadDictionaryValue("k", {});
  EXPECT_FALSE(threadDictionaryValue("k").has_value());
}

}  // namespace
