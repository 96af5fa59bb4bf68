// TIFF files as libtiff opens them: its callbacks, and the tags that say how the pixels are stored.
#pragma once

#include <tiffio.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/file_bytes.h"

namespace vello {

struct TiffTags {
  uint32_t width = 0, height = 0;
  uint16_t bits = 1, samples = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG, photometric = 0,
           compression = COMPRESSION_NONE, orientation = 1, inkSet = INKSET_CMYK, fillOrder = 1;
  std::vector<uint16_t> extra;

  TiffTags() = default;
  explicit TiffTags(TIFF* tiff);
  // 0 for spaces that are not read as they are.
  int colors() const;
  // Samples we take as they are; everything else goes through the library's conversion to 8-bit RGBA.
  bool direct() const;
  int resultBits() const { return format == SAMPLEFORMAT_IEEEFP ? 32 : bits == 16 ? 16 : 8; }
  bool separate() const { return planar == PLANARCONFIG_SEPARATE && samples > 1; }
};

// An open file. The source must outlive it.
class TiffFile {
 public:
  // `memory` limits every single allocation of the library.
  TiffFile(const ByteSource& source, int64_t memory);
  TiffFile(const TiffFile&) = delete;
  TiffFile& operator=(const TiffFile&) = delete;

  // Null when it cannot be opened.
  TIFF* handle() const { return handle_.get(); }
  const ByteSource& source() const { return source_; }
  // With the library's first complaint, if it had one.
  std::string withReason(const std::string& error) const {
    return error_.empty() ? error : error + " (" + error_ + ")";
  }

 private:
  struct Closer {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
  };
  static tmsize_t read(thandle_t handle, void* to, tmsize_t count);
  static toff_t seek(thandle_t handle, toff_t offset, int whence);
  static int keepError(TIFF*, void* user, const char*, const char* format, va_list arguments);

  const ByteSource& source_;
  int64_t position_ = 0;
  std::string error_;
  std::unique_ptr<TIFF, Closer> handle_;  // closed before what its callbacks work on goes
};

}  // namespace vello
