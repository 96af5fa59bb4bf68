#include "hosts/cli/version.h"

namespace vello::cli {

std::string versionText() {
  return std::string("vello ") + VELLO_VERSION +
         "\n"
         "instruction set: x86-64\n"
         "reads: TIFF, PNG, JPEG, WebP\n"
         "writes: TIFF, PNG, JPEG";
}

}  // namespace vello::cli
