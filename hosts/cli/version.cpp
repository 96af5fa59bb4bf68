#include "hosts/cli/version.h"

namespace vello::cli {
namespace {

// What this file's neighbours were compiled for.
constexpr const char* kInstructionSet =
#if defined(__AVX512F__)
    "x86-64-v4";
#elif defined(__AVX2__)
    "x86-64-v3";
#elif defined(__x86_64__)
    "x86-64";
#elif defined(__aarch64__)
    "AArch64";
#else
    "generic";
#endif

}  // namespace

std::string versionText() {
  return std::string("vello ") + VELLO_VERSION + "\ninstruction set: " + kInstructionSet +
         "\n"
         "reads: TIFF, PNG, JPEG, WebP\n"
         "writes: TIFF, PNG, JPEG";
}

}  // namespace vello::cli
