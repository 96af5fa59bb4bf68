// Assertion failures that the interface names. The handler is replaceable per thread; the default raises
// NSInternalInconsistencyException with the description as reason.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vello {

struct AssertionFailure {
  std::string function;  // the method that failed
  std::string file;      // as the interface names it
  int line = 0;
  std::string description;
};

using AssertionHandler = std::function<void(const AssertionFailure&)>;
// Replaces this thread's handler and returns the former; nullptr restores the default.
AssertionHandler setAssertionHandler(AssertionHandler handler);
// May return, when the handler does.
void reportAssertionFailure(const AssertionFailure& failure);

}  // namespace vello
