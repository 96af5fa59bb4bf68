// Pictures that image inputs take from files, and what a chain may read of them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "engine/image/image.h"
#include "source/parameters/chain_limits.h"

namespace vello {

// While one lives, the pictures this thread's image controllers load count against the limits of one chain,
// and a file that several boxes name is read once. Whoever applies a chain makes one for that time. A file
// beyond the limits is like one that cannot be read.
class ChainPictures {
 public:
  explicit ChainPictures(size_t maxFiles = kMaxChainImageFiles, int64_t maxPixels = kMaxChainImagePixels);
  ~ChainPictures();
  ChainPictures(const ChainPictures&) = delete;
  ChainPictures& operator=(const ChainPictures&) = delete;

  // This thread's innermost one, or nullptr.
  static ChainPictures* current();
  CIImage pictureAtPath(const std::string& path);

 private:
  size_t maxFiles_;
  int64_t pixelsLeft_;
  std::map<std::string, CIImage> pictures_;  // by path; nil for what cannot be read
  ChainPictures* outer_;
};

// nil for a file that cannot be read or has more than `maxPixels` pixels (0: as many as fit the machine).
using PictureReader = std::function<CIImage(const std::string& path, int64_t maxPixels)>;

// While one lives, pictures this thread's image controllers load are read by `reader`, in place of being
// decoded at once.
class PictureReaderScope {
 public:
  explicit PictureReaderScope(PictureReader reader);
  ~PictureReaderScope();
  PictureReaderScope(const PictureReaderScope&) = delete;
  PictureReaderScope& operator=(const PictureReaderScope&) = delete;

 private:
  PictureReader outer_;
};

// The picture in a file, from where it is already decoded if it is; nil, logged, when it cannot be read.
CIImage pictureAtPath(const std::string& path);

}  // namespace vello
