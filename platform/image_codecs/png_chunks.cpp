#include "platform/image_codecs/png_chunks.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vello {

namespace {

struct Chunk {
  int64_t begin, end;
  char type[4];
  bool is(std::string_view name) const { return std::memcmp(type, name.data(), sizeof type) == 0; }
  bool isMetadata() const { return is("eXIf") || is("iTXt") || is("zTXt"); }
};

// As the PNG standard defines them: length, type, data, check sum.
bool readChunk(const ByteSource& file, int64_t begin, Chunk& chunk) {
  uint8_t head[8];
  if (file.read(begin, head, sizeof head) != sizeof head) return false;
  const int64_t length = int64_t{head[0]} << 24 | head[1] << 16 | head[2] << 8 | head[3];
  chunk.begin = begin;
  chunk.end = begin + length + 12;
  std::memcpy(chunk.type, head + 4, sizeof chunk.type);
  return chunk.end <= file.size();
}

struct LateChunks {
  int64_t firstData = 0;  // where the pixels begin
  std::vector<Chunk> metadata;
};

// Empty for a file that is cut or has unreasonably many chunks.
LateChunks findLateChunks(const ByteSource& file) {
  constexpr int64_t kSignature = 8;
  constexpr int kMostChunks = 1 << 21;
  constexpr size_t kMostMoved = 64;
  LateChunks found;
  Chunk chunk{0, kSignature, {}};
  for (int i = 0; i < kMostChunks && readChunk(file, chunk.end, chunk); ++i) {
    if (chunk.is("IEND")) return found;
    if (chunk.is("IDAT") && found.firstData == 0) found.firstData = chunk.begin;
    const bool late = found.firstData > 0 && chunk.isMetadata();
    if (late && found.metadata.size() < kMostMoved) found.metadata.push_back(chunk);
  }
  return {};
}

}  // namespace

MetadataFirstPNG::MetadataFirstPNG(const ByteSource& file) : file_(file) {
  const LateChunks late = findLateChunks(file);
  pieces_.push_back({0, late.firstData});
  for (const Chunk& chunk : late.metadata) pieces_.push_back({chunk.begin, chunk.end - chunk.begin});
  int64_t begin = late.firstData;
  for (const Chunk& chunk : late.metadata) {
    pieces_.push_back({begin, chunk.begin - begin});
    begin = chunk.end;
  }
  pieces_.push_back({begin, file.size() - begin});
}

size_t MetadataFirstPNG::read(int64_t offset, void* to, size_t count) const {
  size_t done = 0;
  for (const Piece& piece : pieces_) {
    if (offset < piece.length && done < count) {
      const size_t wanted = std::min(count - done, static_cast<size_t>(piece.length - offset));
      const size_t got = file_.read(piece.begin + offset, static_cast<uint8_t*>(to) + done, wanted);
      done += got;
      if (got < wanted) return done;
      offset += static_cast<int64_t>(got);
    }
    offset -= piece.length;
  }
  return done;
}

}  // namespace vello
