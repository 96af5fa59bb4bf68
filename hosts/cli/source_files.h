// The picture files a render reads: its source and those its chain names, all row by row where they allow it.
#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "engine/image/image.h"
#include "engine/render/context.h"
#include "platform/streamed_picture.h"

namespace vello::cli {

// One file, whose next rows are read on a thread of their own while the last ones are used. One thread at a
// time. Errors name the file.
class SourceFile {
 public:
  explicit SourceFile(std::unique_ptr<StreamedPicture> picture) : picture_(std::move(picture)) {}
  const StreamedPicture& picture() const { return *picture_; }
  // Makes rows [begin, end) ready, from the top, and gives back those before them. What cannot be given back
  // row by row is made ready as a whole: it may be read in any order.
  std::string provide(int64_t begin, int64_t end);
  // Reads the rows nobody asked for: a damaged file is told of also where the result needs no more of it.
  std::string provideRest();

 private:
  void readAhead(int64_t end);

  std::unique_ptr<StreamedPicture> picture_;
  int64_t asked_ = 0;        // rows, so far
  std::future<void> ahead_;  // the last: it is waited for before the picture goes
};

class SourceFiles {
 public:
  // `randomAccess`: rows are read in no order. The error of the source is that of the whole.
  SourceFiles(const std::string& source, bool randomAccess);
  SourceFiles(const SourceFiles&) = delete;
  SourceFiles& operator=(const SourceFiles&) = delete;

  const StreamedPicture& source() const { return files_.front().picture(); }
  // One that the chain names, of at most `maxPixels` pixels. It is valid for as long as this lives.
  CIImage picture(const std::string& path, int64_t maxPixels);
  // The first error of opening a file; empty where all are open.
  const std::string& error() const { return error_; }

  // What a band reads and, before that, what no later band reads.
  std::string provide(const std::vector<SourceRows>& rows);
  // After the last band.
  std::string provideRest();

 private:
  const SourceFile* open(const std::string& path, int64_t maxPixels);

  const bool randomAccess_;
  std::vector<SourceFile> files_;
  std::string error_;
};

}  // namespace vello::cli
