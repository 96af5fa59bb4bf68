// Writes a picture file from rows that come one after another.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/bitmap.h"
#include "platform/file_bytes.h"
#include "platform/image_file.h"

namespace vello {

class PictureEncoder;

// Opens a file beside its target, takes the rows from the top and puts the file into the target's place when
// it is finished; destroyed before that it leaves nothing. What can be written and what is left out is as
// writeImageFile says, and the file is the same. Memory does not grow with the picture's height, but for JPEG
// pictures of ordinary size. One thread at a time.
class StreamedPictureWriter {
 public:
  // Of pixels in `layout` (of which bytesPerRow does not count) and `space`, which is not null.
  StreamedPictureWriter(const std::string& path, const PixelLayout& layout, ColorSpacePtr space,
                        const ImageWriteOptions& options);
  ~StreamedPictureWriter();
  StreamedPictureWriter(const StreamedPictureWriter&) = delete;
  StreamedPictureWriter& operator=(const StreamedPictureWriter&) = delete;

  // Empty until something went wrong; names the file. Nothing is written after an error.
  const std::string& error() const { return error_; }
  // What had to be left out; known from the start.
  const std::vector<std::string>& warnings() const { return warnings_; }
  // The rows that follow those written so far. Returns error().
  const std::string& write(int64_t firstRow, int64_t rowCount, const uint8_t* bytes, int64_t bytesPerRow);
  // After the last row: syncs and renames. Returns error().
  const std::string& finish();

 private:
  // Runs a step that returns its error unless there is one already.
  template <typename Step>
  const std::string& attempt(Step step);
  std::string create();

  const std::string path_;
  const PixelLayout layout_;
  const ColorSpacePtr space_;
  const ImageWriteOptions options_;
  ImageMetadata metadata_;  // true for the written picture
  std::vector<std::string> warnings_;
  std::string error_;
  std::unique_ptr<AtomicFile> file_;
  std::unique_ptr<PictureEncoder> encoder_;
  int64_t rowsWritten_ = 0;
};

}  // namespace vello
