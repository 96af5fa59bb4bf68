// Files as the commands read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vello::cli {

struct FileContents {
  std::vector<uint8_t> bytes;
  std::string error;  // empty on success; names the file and the reason
  bool ok() const { return error.empty(); }
};

// All of a file; "-" is standard input. More than `limit` bytes are an error.
FileContents readFile(const std::string& path, size_t limit);
// The text of a filter chain.
FileContents readChainFile(const std::string& path);
std::string textOf(const FileContents& file);

}  // namespace vello::cli
