#include "fuzz/image_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vello::fuzzImage(data, size);
  return 0;
}
