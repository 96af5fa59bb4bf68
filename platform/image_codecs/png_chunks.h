#pragma once

#include <vector>

#include "platform/file_bytes.h"

namespace vello {

// A PNG file in another order of its chunks: the metadata that it has after its pixels come before them, so
// that they are known when the first row is decoded. A file that cannot be followed to its end stays as it
// is.
class MetadataFirstPNG final : public ByteSource {
 public:
  // `file` must outlive this.
  explicit MetadataFirstPNG(const ByteSource& file);
  int64_t size() const override { return file_.size(); }
  size_t read(int64_t offset, void* to, size_t count) const override;

 private:
  struct Piece {
    int64_t begin, length;  // in the file
  };
  const ByteSource& file_;
  std::vector<Piece> pieces_;  // in the order they are read in; together the whole file
};

}  // namespace vello
