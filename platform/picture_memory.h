// Memory of a whole picture that takes room only where it was written, and can be given back in parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vello {

class PictureMemory {
 public:
  // Both give null and the reason when the memory cannot be had.
  // What is released is lost.
  static std::shared_ptr<PictureMemory> inMemory(int64_t bytes, std::string* error);
  // Backed by a file without a name in `folder` (empty: the temporary folder), all its room taken at
  // once: what is released comes back from the file. The error names the folder and the need.
  static std::shared_ptr<PictureMemory> inTemporaryFile(int64_t bytes, const std::string& folder,
                                                        std::string* error);
  ~PictureMemory();
  PictureMemory(const PictureMemory&) = delete;
  PictureMemory& operator=(const PictureMemory&) = delete;

  uint8_t* bytes() const { return bytes_; }
  // Gives back the pages that lie in [0, end) as a whole. From `fresh` on nothing has been written yet: what
  // lies there may get them.
  void release(int64_t end, int64_t fresh);

 private:
  struct Mapping {
    void* begin;
    size_t size;
  };
  PictureMemory(Mapping mapping, uint8_t* bytes, int64_t size, bool inFile)
      : mapping_(mapping), bytes_(bytes), size_(size), inFile_(inFile) {}
  void moveTo(int64_t fresh, int64_t end);

  const Mapping mapping_;
  uint8_t* const bytes_;
  const int64_t size_;
  const bool inFile_;
  int64_t released_ = 0, filled_ = 0;  // whole large pages from the beginning
};

}  // namespace vello
