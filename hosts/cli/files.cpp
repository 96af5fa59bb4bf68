#include "hosts/cli/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "source/parameters/chain_limits.h"

namespace vello::cli {
namespace {

constexpr size_t kBlock = size_t{64} << 10;

std::string readAll(std::FILE* stream, size_t limit, std::vector<uint8_t>& bytes) {
  for (;;) {
    const size_t old = bytes.size();
    bytes.resize(old + kBlock);
    const size_t count = std::fread(bytes.data() + old, 1, kBlock, stream);
    const int problem = errno;
    bytes.resize(old + count);
    if (std::ferror(stream)) return std::strerror(problem);
    if (bytes.size() > limit) return "it is larger than " + std::to_string(limit) + " bytes";
    if (count < kBlock) return "";
  }
}

}  // namespace

FileContents readFile(const std::string& path, size_t limit) {
  struct Close {
    void operator()(std::FILE* stream) const {
      if (stream != stdin) std::fclose(stream);
    }
  };
  const std::unique_ptr<std::FILE, Close> stream(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"));
  const std::string name = path == "-" ? "standard input" : path;
  if (!stream) return {{}, name + ": " + std::strerror(errno)};
  FileContents result;
  const std::string problem = readAll(stream.get(), limit, result.bytes);
  if (!problem.empty()) return {{}, name + ": " + problem};
  return result;
}

FileContents readChainFile(const std::string& path) { return readFile(path, kMaxChainBytes); }

std::string textOf(const FileContents& file) { return std::string(file.bytes.begin(), file.bytes.end()); }

}  // namespace vello::cli
