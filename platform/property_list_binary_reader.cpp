// The standard binary form: "bplist00", objects, a table of their offsets, and a 32-byte trailer. An object
// is a marker byte (kind in the high half, size in the low half) and its content, big-endian. Nothing of it
// is trusted: every offset and count is compared with what is there before it is used.
#include <bit>
#include <optional>

#include "platform/property_list_readers.h"
#include "platform/property_list_scalars.h"

namespace vello {
namespace {

constexpr size_t kHeaderSize = 8, kTrailerSize = 32;

class BinaryReader {
 public:
  BinaryReader(std::span<const uint8_t> bytes, const PropertyListLimits& limits);
  PropertyListResult read();

 private:
  using Result = std::optional<PropertyList>;
  // Where an object's content lies, and how many units of it there are.
  struct Content {
    size_t at = 0, count = 0;
  };
  bool readTrailer();
  Result object(uint64_t reference, int depth);
  Result objectAt(size_t at, int depth);
  Result simple(uint8_t marker);
  Result integer(size_t at, uint8_t sizeLog2);
  Result real(size_t at, uint8_t sizeLog2);
  Result date(size_t at, uint8_t sizeLog2);
  Result data(size_t at);
  Result ascii(size_t at);
  Result utf16(size_t at);
  Result array(size_t at, int depth);
  Result dictionary(size_t at, int depth);
  Result member(std::vector<PropertyListMember>& members, size_t keyAt, size_t valueAt, int depth);
  // The content of the object at `at`, whose units are `unit` bytes each.
  std::optional<Content> content(size_t at, size_t unit);
  // A big-endian number of up to 8 bytes; the caller has checked that they are there.
  uint64_t number(size_t at, size_t size) const;
  bool fits(size_t at, uint64_t count, size_t unit) const {
    return at <= tableAt_ && count <= (tableAt_ - at) / unit;
  }
  bool spend(size_t payload);
  std::nullopt_t fail(const std::string& why) {
    if (error_.empty()) error_ = why;
    return std::nullopt;
  }

  std::span<const uint8_t> bytes_;
  const PropertyListLimits& limits_;
  size_t valuesLeft_, payloadLeft_;  // objects may be shared: what they expand to is bounded
  size_t offsetSize_ = 0, referenceSize_ = 0, objectCount_ = 0, tableAt_ = 0;
  uint64_t root_ = 0;
  std::string error_;
};

BinaryReader::BinaryReader(std::span<const uint8_t> bytes, const PropertyListLimits& limits)
    : bytes_(bytes),
      limits_(limits),
      // Without shared containers a value takes a byte at least; strings may well be shared.
      valuesLeft_(std::min(limits.values, 1024 + 4 * bytes.size())),
      payloadLeft_(65536 + 16 * bytes.size()) {}

uint64_t BinaryReader::number(size_t at, size_t size) const {
  uint64_t value = 0;
  for (const uint8_t byte : bytes_.subspan(at, size)) value = value << 8 | byte;
  return value;
}

bool BinaryReader::spend(size_t payload) {
  if (valuesLeft_ == 0 || payload > payloadLeft_) {
    fail("the objects expand to more than the limits allow");
    return false;
  }
  --valuesLeft_;
  payloadLeft_ -= payload;
  return true;
}

bool BinaryReader::readTrailer() {
  if (bytes_.size() < kHeaderSize + kTrailerSize) return false;
  const size_t trailer = bytes_.size() - kTrailerSize;
  offsetSize_ = bytes_[trailer + 6];
  referenceSize_ = bytes_[trailer + 7];
  const uint64_t count = number(trailer + 8, 8), table = number(trailer + 24, 8);
  root_ = number(trailer + 16, 8);
  const bool sizes = offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8;
  if (!sizes || table < kHeaderSize || table > trailer || count > (trailer - table) / offsetSize_)
    return false;
  objectCount_ = static_cast<size_t>(count);
  tableAt_ = static_cast<size_t>(table);
  return true;
}

BinaryReader::Result BinaryReader::object(uint64_t reference, int depth) {
  if (reference >= objectCount_) return fail("a reference to an object that does not exist");
  const uint64_t at = number(tableAt_ + static_cast<size_t>(reference) * offsetSize_, offsetSize_);
  if (at < kHeaderSize || at >= tableAt_) return fail("an offset outside of the objects");
  if (!spend(0)) return std::nullopt;
  return objectAt(static_cast<size_t>(at), depth);
}

BinaryReader::Result BinaryReader::objectAt(size_t at, int depth) {
  const uint8_t marker = bytes_[at], low = marker & 0x0F;
  switch (marker >> 4) {
    case 0x0:
      return simple(marker);
    case 0x1:
      return integer(at + 1, low);
    case 0x2:
      return real(at + 1, low);
    case 0x3:
      return date(at + 1, low);
    case 0x4:
      return data(at);
    case 0x5:
      return ascii(at);
    case 0x6:
      return utf16(at);
    case 0xA:
      return array(at, depth);
    case 0xD:
      return dictionary(at, depth);
    default:
      return fail("an object of kind " + std::to_string(marker >> 4) + " at byte " + std::to_string(at));
  }
}

BinaryReader::Result BinaryReader::simple(uint8_t marker) {
  if (marker == 0x08 || marker == 0x09) return PropertyList(marker == 0x09);
  return fail("a null value");
}

BinaryReader::Result BinaryReader::integer(size_t at, uint8_t sizeLog2) {
  if (sizeLog2 > 4 || !fits(at, size_t{1} << sizeLog2, 1)) return fail("a truncated integer");
  if (sizeLog2 < 4) return PropertyList(static_cast<int64_t>(number(at, size_t{1} << sizeLog2)));
  const uint64_t high = number(at, 8);
  const auto low = static_cast<int64_t>(number(at + 8, 8));
  if (high != (low < 0 ? UINT64_MAX : 0)) return fail("an integer beyond 64 bits");
  return PropertyList(low);
}

BinaryReader::Result BinaryReader::real(size_t at, uint8_t sizeLog2) {
  if (!(sizeLog2 == 2 || sizeLog2 == 3) || !fits(at, size_t{1} << sizeLog2, 1)) return fail("a bad real");
  if (sizeLog2 == 3) return PropertyList(std::bit_cast<double>(number(at, 8)));
  return PropertyList(static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(number(at, 4)))));
}

BinaryReader::Result BinaryReader::date(size_t at, uint8_t sizeLog2) {
  if (sizeLog2 != 3 || !fits(at, 8, 1)) return fail("a bad date");
  return PropertyList(PropertyListDate{std::bit_cast<double>(number(at, 8))});
}

std::optional<BinaryReader::Content> BinaryReader::content(size_t at, size_t unit) {
  const uint8_t low = bytes_[at] & 0x0F;
  uint64_t count = low;
  size_t begin = at + 1;
  if (low == 0x0F) {  // the count follows as an integer object
    const uint8_t marker = begin < tableAt_ ? bytes_[begin] : uint8_t{0};
    const size_t size = size_t{1} << (marker & 0x0F);
    if (marker >> 4 != 0x1 || size > 8 || !fits(begin + 1, size, 1)) return fail("a bad count");
    count = number(begin + 1, size);
    begin += 1 + size;
  }
  if (!fits(begin, count, unit)) {
    return fail("an object at byte " + std::to_string(at) + " that reaches beyond the objects");
  }
  return Content{begin, static_cast<size_t>(count)};
}

BinaryReader::Result BinaryReader::data(size_t at) {
  const std::optional<Content> c = content(at, 1);
  if (!c || !spend(c->count)) return std::nullopt;
  const auto span = bytes_.subspan(c->at, c->count);
  return PropertyList(Data(std::vector<uint8_t>(span.begin(), span.end())));
}

BinaryReader::Result BinaryReader::ascii(size_t at) {
  const std::optional<Content> c = content(at, 1);
  if (!c || !spend(c->count)) return std::nullopt;
  std::string text;
  text.reserve(c->count);
  for (const uint8_t byte : bytes_.subspan(c->at, c->count)) {
    if (byte > 0x7F) return fail("an ASCII string with other bytes");
    text += static_cast<char>(byte);
  }
  return PropertyList(std::move(text));
}

BinaryReader::Result BinaryReader::utf16(size_t at) {
  const std::optional<Content> c = content(at, 2);
  if (!c || !spend(c->count * 2)) return std::nullopt;
  std::string text;
  for (size_t i = 0; i < c->count; ++i) {
    auto unit = static_cast<uint32_t>(number(c->at + 2 * i, 2));
    if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < c->count) {
      const auto low = static_cast<uint32_t>(number(c->at + 2 * ++i, 2));
      if (low < 0xDC00 || low >= 0xE000) return fail("a string with half a surrogate pair");
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    if (unit >= 0xD800 && unit < 0xE000) return fail("a string with half a surrogate pair");
    appendUtf8(text, unit);
  }
  return PropertyList(std::move(text));
}

BinaryReader::Result BinaryReader::array(size_t at, int depth) {
  const std::optional<Content> c = content(at, referenceSize_);
  // A cycle is refused here, too.
  if (c && depth >= limits_.depth) return fail("too many containers within one another");
  if (!c || c->count > valuesLeft_) return fail("the objects expand to more than the limits allow");
  PropertyListArray values;
  for (size_t i = 0; i < c->count; ++i) {
    Result value = object(number(c->at + i * referenceSize_, referenceSize_), depth + 1);
    if (!value) return std::nullopt;
    values.push_back(*std::move(value));
  }
  return PropertyList(std::move(values));
}

BinaryReader::Result BinaryReader::member(std::vector<PropertyListMember>& members, size_t keyAt,
                                          size_t valueAt, int depth) {
  Result key = object(number(keyAt, referenceSize_), depth);
  if (!key) return std::nullopt;
  if (!key->string()) return fail("a key that is no string");
  Result value = object(number(valueAt, referenceSize_), depth);
  if (!value) return std::nullopt;
  members.push_back({*key->string(), *std::move(value)});
  return PropertyList();
}

BinaryReader::Result BinaryReader::dictionary(size_t at, int depth) {
  const std::optional<Content> c = content(at, 2 * referenceSize_);
  if (c && depth >= limits_.depth) return fail("too many containers within one another");
  if (!c || c->count > valuesLeft_ / 2) return fail("the objects expand to more than the limits allow");
  std::vector<PropertyListMember> members;
  for (size_t i = 0; i < c->count; ++i) {
    const size_t keyAt = c->at + i * referenceSize_;
    if (!member(members, keyAt, keyAt + c->count * referenceSize_, depth + 1)) return std::nullopt;
  }
  return PropertyList(PropertyListDictionary::fromMembers(std::move(members)));
}

PropertyListResult BinaryReader::read() {
  const std::string_view text(reinterpret_cast<const char*>(bytes_.data()), bytes_.size());
  if (!text.starts_with("bplist0")) return {{}, "a binary property list of an unknown version"};
  if (!readTrailer()) return {{}, "a binary property list without a valid trailer"};
  Result root = object(root_, 0);
  if (!root) return {{}, "binary property list: " + error_};
  return {*std::move(root), {}};
}

}  // namespace

PropertyListResult readBinaryPropertyList(std::span<const uint8_t> bytes, const PropertyListLimits& limits) {
  return BinaryReader(bytes, limits).read();
}

}  // namespace vello
