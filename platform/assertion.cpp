#include "platform/assertion.h"

#include <utility>

#include "platform/exception.h"
#include "platform/log.h"

namespace vello {
namespace {

constexpr std::string_view kAssertionLogLine = "*** Assertion failure in %@, %@:%@";

thread_local AssertionHandler threadHandler;

void raise(const AssertionFailure& failure) {
  logLine(kAssertionLogLine, {failure.function, failure.file, std::to_string(failure.line)});
  throw KPException(NSInternalInconsistencyException, failure.description);
}

}  // namespace

AssertionHandler setAssertionHandler(AssertionHandler handler) {
  return std::exchange(threadHandler, std::move(handler));
}

void reportAssertionFailure(const AssertionFailure& failure) {
  const AssertionHandler handler = threadHandler;  // may be replaced while it runs
  if (handler)
    handler(failure);
  else
    raise(failure);
}

}  // namespace vello
