#include "platform/image_codecs/tiff_directory.h"

#include <algorithm>
#include <cstring>

namespace vello {

namespace {

constexpr uint64_t kLargestValue = uint64_t{32} << 20;
constexpr uint16_t kChildTags[] = {tiff_tag::kExif, tiff_tag::kGPS, tiff_tag::kInteroperability};

bool isChildTag(uint16_t tag) {
  return std::find(std::begin(kChildTags), std::end(kChildTags), tag) != std::end(kChildTags);
}

// What byte order applies to: the halves of a rational are numbers of their own.
int elementSize(uint16_t type) {
  constexpr uint16_t kSignedRational = 10;
  return type == tiff_type::kRational || type == kSignedRational ? 4 : tiffTypeSize(type);
}

int offsetBytes(TiffFormat format) { return format.bigTiff ? 8 : 4; }
int entryBytes(TiffFormat format) { return format.bigTiff ? 20 : 12; }
int countBytes(TiffFormat format) { return format.bigTiff ? 8 : 2; }

}  // namespace

int tiffTypeSize(uint16_t type) {
  constexpr int kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
  return type < std::size(kSizes) ? kSizes[type] : 0;
}

uint64_t readInteger(const uint8_t* p, int bytes, bool bigEndian) {
  uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8 | p[bigEndian ? i : bytes - 1 - i];
  return value;
}

void writeInteger(uint8_t* p, int bytes, bool bigEndian, uint64_t value) {
  for (int i = 0; i < bytes; ++i) {
    p[bigEndian ? bytes - 1 - i : i] = static_cast<uint8_t>(value >> (8 * i));
  }
}

std::optional<uint64_t> TiffDirectory::integer(uint16_t tag) const {
  const auto found = values.find(tag);
  if (found == values.end() || found->second.count == 0) return std::nullopt;
  switch (found->second.type) {
    case tiff_type::kByte:
    case tiff_type::kShort:
    case tiff_type::kLong:
    case tiff_type::kIFD:
    case tiff_type::kLong8:
    case tiff_type::kIFD8:
      return readInteger(found->second.bytes.data(), tiffTypeSize(found->second.type), format.bigEndian);
    default:
      return std::nullopt;
  }
}

std::optional<double> TiffDirectory::rational(uint16_t tag) const {
  const auto found = values.find(tag);
  if (found == values.end() || found->second.count == 0 || found->second.type != tiff_type::kRational) {
    return std::nullopt;
  }
  const uint8_t* p = found->second.bytes.data();
  const uint64_t divisor = readInteger(p + 4, 4, format.bigEndian);
  if (divisor == 0) return std::nullopt;
  return static_cast<double>(readInteger(p, 4, format.bigEndian)) / static_cast<double>(divisor);
}

std::optional<TiffHeader> readTiffHeader(const ByteSource& source) {
  uint8_t bytes[16];
  const size_t got = source.read(0, bytes, sizeof bytes);
  if (got < 8 || bytes[0] != bytes[1] || (bytes[0] != 'I' && bytes[0] != 'M')) return std::nullopt;
  TiffHeader header;
  header.format.bigEndian = bytes[0] == 'M';
  const uint64_t magic = readInteger(bytes + 2, 2, header.format.bigEndian);
  header.format.bigTiff = magic == 43;
  if ((magic != 42 && magic != 43) || (header.format.bigTiff && got < 16)) return std::nullopt;
  header.firstDirectory = header.format.bigTiff ? readInteger(bytes + 8, 8, header.format.bigEndian)
                                                : readInteger(bytes + 4, 4, header.format.bigEndian);
  return header;
}

namespace {

std::optional<TiffValue> readValue(const ByteSource& source, TiffFormat format, const uint8_t* entry,
                                   uint64_t place) {
  TiffValue value;
  const int width = offsetBytes(format);
  value.type = static_cast<uint16_t>(readInteger(entry + 2, 2, format.bigEndian));
  value.count = readInteger(entry + 4, width, format.bigEndian);
  const int size = tiffTypeSize(value.type);
  if (size == 0 || value.count > kLargestValue / static_cast<uint64_t>(size)) return std::nullopt;
  const uint64_t bytes = value.count * static_cast<uint64_t>(size);
  const uint8_t* field = entry + 4 + width;
  value.offset = bytes <= static_cast<uint64_t>(width) ? place + 4 + static_cast<uint64_t>(width)
                                                       : readInteger(field, width, format.bigEndian);
  if (value.offset > static_cast<uint64_t>(source.size()) ||
      bytes > static_cast<uint64_t>(source.size()) - value.offset) {
    return std::nullopt;
  }
  value.bytes.resize(bytes);
  if (source.read(static_cast<int64_t>(value.offset), value.bytes.data(), bytes) != bytes)
    return std::nullopt;
  return value;
}

std::optional<TiffDirectory> readTable(const ByteSource& source, TiffFormat format, uint64_t offset,
                                       int depth) {
  uint8_t head[8];
  const auto width = static_cast<size_t>(countBytes(format));
  if (offset == 0 || offset > static_cast<uint64_t>(source.size()) ||
      source.read(static_cast<int64_t>(offset), head, width) != width) {
    return std::nullopt;
  }
  constexpr uint64_t kMostEntries = 4096;
  const uint64_t count = readInteger(head, static_cast<int>(width), format.bigEndian);
  if (count > kMostEntries) return std::nullopt;
  const auto entrySize = static_cast<size_t>(entryBytes(format));
  std::vector<uint8_t> table(count * entrySize + static_cast<size_t>(offsetBytes(format)));
  const size_t got = source.read(static_cast<int64_t>(offset + width), table.data(), table.size());
  if (got < count * entrySize) return std::nullopt;
  TiffDirectory directory;
  directory.format = format, directory.offset = offset, directory.size = width + got;
  if (got == table.size()) {
    directory.next = readInteger(table.data() + count * entrySize, offsetBytes(format), format.bigEndian);
  }
  uint64_t total = 0;
  for (uint64_t i = 0; i < count; ++i) {
    const uint8_t* entry = table.data() + i * entrySize;
    const auto tag = static_cast<uint16_t>(readInteger(entry, 2, format.bigEndian));
    std::optional<TiffValue> value = readValue(source, format, entry, offset + width + i * entrySize);
    if (!value || (total += value->bytes.size()) > 2 * kLargestValue) {
      directory.unreadable.push_back(tag);
      continue;
    }
    directory.values.emplace(tag, std::move(*value));
  }
  if (depth == 0) return directory;
  for (const uint16_t tag : kChildTags) {
    const std::optional<uint64_t> place = directory.integer(tag);
    if (!place) continue;
    if (auto child = readTable(source, format, *place, depth - 1)) {
      directory.children.emplace(tag, std::move(*child));
    }
  }
  return directory;
}

}  // namespace

std::optional<TiffDirectory> readTiffDirectory(const ByteSource& source, TiffFormat format, uint64_t offset) {
  constexpr int kDepth = 2;  // interoperability lies in Exif, which lies in the first directory
  return readTable(source, format, offset, kDepth);
}

namespace {

class Serialiser {
 public:
  Serialiser(TiffFormat format, uint64_t base) : format_(format), base_(base) {}
  std::vector<uint8_t> run(const TiffDirectory& directory) {
    add(directory);
    return std::move(bytes_);
  }

 private:
  void add(const TiffDirectory& directory);
  void fill(size_t entry, uint16_t tag, const TiffValue& value, bool swap);
  size_t append(size_t count) {
    const size_t place = (bytes_.size() + 1) / 2 * 2;
    bytes_.resize(place + count);
    return place;
  }
  void put(size_t place, int width, uint64_t value) {
    writeInteger(bytes_.data() + place, width, format_.bigEndian, value);
  }

  TiffFormat format_;
  uint64_t base_;
  std::vector<uint8_t> bytes_;
};

void Serialiser::add(const TiffDirectory& directory) {
  std::map<uint16_t, const TiffValue*> values;  // ascending, as the standard wants them
  for (const auto& [tag, value] : directory.values) {
    if (!isChildTag(tag)) values[tag] = &value;
  }
  for (const auto& [tag, child] : directory.children) values[tag] = nullptr;
  const auto head = static_cast<size_t>(countBytes(format_)), size = static_cast<size_t>(entryBytes(format_));
  const size_t table = append(head + values.size() * size + static_cast<size_t>(offsetBytes(format_)));
  put(table, countBytes(format_), values.size());
  size_t entry = table + head;
  for (const auto& [tag, value] : values) {
    if (value) {
      fill(entry, tag, *value, directory.format.bigEndian != format_.bigEndian);
    } else {
      const uint64_t place = base_ + (bytes_.size() + 1) / 2 * 2;
      put(entry, 2, tag);
      put(entry + 2, 2, format_.bigTiff ? tiff_type::kIFD8 : tiff_type::kLong);
      put(entry + 4, offsetBytes(format_), 1);
      put(entry + 4 + static_cast<size_t>(offsetBytes(format_)), offsetBytes(format_), place);
      add(directory.children.at(tag));
    }
    entry += size;
  }
}

void Serialiser::fill(size_t entry, uint16_t tag, const TiffValue& value, bool swap) {
  const auto width = static_cast<size_t>(offsetBytes(format_));
  put(entry, 2, tag);
  put(entry + 2, 2, value.type);
  put(entry + 4, offsetBytes(format_), value.count);
  size_t place = entry + 4 + width;
  if (value.bytes.size() > width) {
    const size_t field = place;
    place = append(value.bytes.size());
    put(field, offsetBytes(format_), base_ + place);
  }
  std::copy(value.bytes.begin(), value.bytes.end(), bytes_.begin() + static_cast<long>(place));
  const auto element = static_cast<size_t>(elementSize(value.type));
  if (!swap || element < 2) return;
  for (size_t i = 0; i + element <= value.bytes.size(); i += element) {
    const auto first = bytes_.begin() + static_cast<long>(place + i);
    std::reverse(first, first + static_cast<long>(element));
  }
}

}  // namespace

std::vector<uint8_t> serialised(const TiffDirectory& directory, TiffFormat format, uint64_t base) {
  return Serialiser(format, base).run(directory);
}

std::vector<uint8_t> serialisedBlock(const TiffDirectory& directory) {
  const TiffFormat format{directory.format.bigEndian, false};
  constexpr int kHeader = 8;
  std::vector<uint8_t> block(kHeader, format.bigEndian ? 'M' : 'I');
  writeInteger(block.data() + 2, 2, format.bigEndian, 42);
  writeInteger(block.data() + 4, 4, format.bigEndian, kHeader);
  const std::vector<uint8_t> rest = serialised(directory, format, kHeader);
  block.insert(block.end(), rest.begin(), rest.end());
  return block;
}

}  // namespace vello
