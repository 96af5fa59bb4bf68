// A fixed number of bytes, the first of which lie in memory and the rest in a file without a name.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/picture_memory.h"

namespace vello {

// Threads may read and write at the same time where they do not touch the same bytes.
class SpilledMemory {
 public:
  // Takes the room in the temporary folder at once, and that in memory as it is written to. Null, and the
  // reason, when it cannot be had.
  static std::unique_ptr<SpilledMemory> create(int64_t bytes, int64_t inMemory, std::string* error);
  ~SpilledMemory();
  SpilledMemory(const SpilledMemory&) = delete;
  SpilledMemory& operator=(const SpilledMemory&) = delete;

  // Both return the error, empty on success.
  std::string write(int64_t offset, const void* from, int64_t count);
  std::string read(int64_t offset, void* to, int64_t count) const;
  // The bytes at `offset` themselves where all `count` of them lie in memory, else null.
  const uint8_t* inMemory(int64_t offset, int64_t count) const;

 private:
  SpilledMemory(std::shared_ptr<PictureMemory> memory, int64_t bytesInMemory, int descriptor)
      : memory_(std::move(memory)), bytesInMemory_(bytesInMemory), descriptor_(descriptor) {}

  const std::shared_ptr<PictureMemory> memory_;
  const int64_t bytesInMemory_;
  const int descriptor_;
};

}  // namespace vello
