// Reads a picture file a few rows at a time, so that a picture of any height can pass through little memory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/bitmap.h"
#include "platform/image_file.h"

namespace vello {

struct StreamOptions {
  ImageLimits limits;         // 0: of area and bytes only what no file reaches
  bool randomAccess = false;  // rows are read again after they were released, or in another order
  int64_t memory = 0;         // bytes a library may take to decode; 0: half of the machine's memory
  // A picture up to this size is kept in memory rather than in a file.
  int64_t keptInMemory = int64_t{128} << 20;
  std::string folder;  // of the temporary file; empty: $TMPDIR, else /tmp
};

// A picture with the pixels, metadata, warnings and errors that readImageFile gives, but the pixels come when
// they are asked for. Rows count from the top. A picture whose rows cannot be had from top to bottom (turned,
// interlaced, WebP) is decoded as a whole, at first into a temporary file if it is large. One thread at a
// time; others may read the bitmap's rows between the calls.
class StreamedPicture {
 public:
  // Null, and the error with the file's name, when the file cannot be read or the room for it be had.
  static std::unique_ptr<StreamedPicture> open(const std::string& path, const StreamOptions& options,
                                               std::string* error);
  ~StreamedPicture();
  StreamedPicture(const StreamedPicture&) = delete;
  StreamedPicture& operator=(const StreamedPicture&) = delete;

  // May outlive this. A row must be provided before anybody reads it.
  const Bitmap& bitmap() const { return bitmap_; }
  const ImageFileInfo& info() const;
  const ImageMetadata& metadata() const;
  // Complete when the last row has been provided.
  const std::vector<std::string>& warnings() const;

  enum class Storage { rowByRow, inMemory, temporaryFile };
  Storage storage() const { return storage_; }
  bool isRowByRow() const { return storage_ == Storage::rowByRow; }
  // What the library keeps in memory while it decodes, beside some rows.
  int64_t heldBytes() const;

  // Makes rows [0, rowsEnd) ready. Returns the error, the same ever after, which names the file.
  const std::string& provide(int64_t rowsEnd);
  // Gives back the memory of rows [0, rowsEnd). They are lost unless the storage is a temporary file.
  void release(int64_t rowsEnd);

 private:
  struct State;
  StreamedPicture(std::unique_ptr<State> state, Storage storage, Bitmap bitmap);
  std::string step(int64_t rowsEnd);
  std::string decodeAndTurn();

  std::unique_ptr<State> state_;
  const Storage storage_;
  const Bitmap bitmap_;
  std::string error_;
  int64_t provided_ = 0;
};

}  // namespace vello
