// Any bytes read as a property list; what reads and can be written must come back the same.
#include <cstdio>
#include <cstdlib>

#include "platform/property_list.h"

using namespace vello;

namespace {

PropertyList readBack(const std::string& text) {
  const PropertyListResult result =
      readPropertyList({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  if (!result.ok()) {
    std::fprintf(stderr, "what was written does not read back: %s\n", result.error.c_str());
    std::abort();
  }
  return result.value;
}

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const PropertyListResult result = readPropertyList({bytes, size});
  require(result.ok() || result.value.isNil(), "a value beside an error");
  if (!result.ok()) return 0;
  const PropertyListText text = writePropertyListXML(result.value);
  if (!text.ok()) return 0;
  const PropertyList again = readBack(text.text);
  // Writing drops the fractions of dates, so values with dates are compared from the second time on.
  const bool dates = text.text.find("<date>") != std::string::npos;
  require(dates || again == result.value, "not equal after writing and reading");
  const PropertyListText textAgain = writePropertyListXML(again);
  require(textAgain.text == text.text, "not written the same after reading");
  require(readBack(textAgain.text) == again, "not equal after reading twice");
  return 0;
}
