// A picture file through a recipe into another file, a band of rows at a time: what is in memory does not
// grow with the picture where neither the formats nor the recipe need it whole.
#pragma once

#include <string>
#include <vector>

#include "hosts/cli/picture.h"
#include "hosts/cli/source_files.h"
#include "platform/image_file.h"

namespace vello::cli {

struct StreamedRequest {
  PictureRequest picture;  // without keepAlpha the file has no alpha
  SourceFiles& sources;    // the picture's recipe reads their bitmaps
  std::string output;
  ImageWriteOptions options;
};

struct StreamedResult {
  std::string error;        // empty on success, else the file is not there
  bool needsAlpha = false;  // not every pixel is opaque: to be done again with keepAlpha, as the error says
  std::vector<std::string> warnings;
  double decodeSeconds = 0, writeSeconds = 0;  // that rendering waited for
  bool ok() const { return error.empty(); }
};

// Blocks. Errors of the sources and the output name their file, those of the rendering do not.
StreamedResult renderToFile(const StreamedRequest& request);

}  // namespace vello::cli
