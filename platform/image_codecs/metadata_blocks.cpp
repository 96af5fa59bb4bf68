#include "platform/image_codecs/metadata_blocks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace vello {

namespace {

constexpr unsigned kIPTCResource = 0x0404;

unsigned big16(const uint8_t* p) { return static_cast<unsigned>(p[0] << 8 | p[1]); }
uint32_t big32(const uint8_t* p) { return uint32_t{big16(p)} << 16 | big16(p + 2); }

}  // namespace

// Each block: "8BIM", a 16-bit id, a Pascal name padded to even length, a 32-bit size, data padded to even.
Bytes iptcFromResources(std::span<const uint8_t> resources) {
  while (resources.size() >= 12 && std::memcmp(resources.data(), "8BIM", 4) == 0) {
    const unsigned id = big16(resources.data() + 4);
    const size_t nameSize = (size_t{resources[6]} + 2) / 2 * 2;
    if (resources.size() < 6 + nameSize + 4) return {};
    const size_t size = big32(resources.data() + 6 + nameSize);
    resources = resources.subspan(6 + nameSize + 4);
    if (size > resources.size()) return {};
    if (id == kIPTCResource) return Bytes(resources.begin(), resources.begin() + static_cast<long>(size));
    resources = resources.subspan(std::min(resources.size(), size + size % 2));
  }
  return {};
}

Bytes resourcesFromIPTC(std::span<const uint8_t> iptc) {
  Bytes block{'8', 'B', 'I', 'M', kIPTCResource >> 8, kIPTCResource & 255, 0, 0};
  for (int shift = 24; shift >= 0; shift -= 8) block.push_back(static_cast<uint8_t>(iptc.size() >> shift));
  block.insert(block.end(), iptc.begin(), iptc.end());
  if (iptc.size() % 2) block.push_back(0);
  return block;
}

Bytes fromRawProfileText(std::string_view text) {
  // Two lines before the digits: the name and the number of bytes.
  for (int line = 0; line < 3; ++line) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) return {};
    text.remove_prefix(end + 1);
  }
  Bytes bytes;
  std::string digits;
  for (const char c : text) {
    if (c == '\n' || c == ' ') continue;
    digits += c;
    if (digits.size() < 2) continue;
    uint8_t value = 0;
    const auto [end, code] = std::from_chars(digits.data(), digits.data() + 2, value, 16);
    if (code != std::errc() || end != digits.data() + 2) return {};
    bytes.push_back(value);
    digits.clear();
  }
  return bytes;
}

std::string toRawProfileText(const std::string& name, std::span<const uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const std::string count = std::to_string(bytes.size());
  std::string text = "\n" + name + "\n" + std::string(count.size() < 8 ? 8 - count.size() : 0, ' ') + count;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % 36 == 0) text += '\n';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text + "\n";
}

void resetXMPOrientation(Bytes& xmp) {
  static constexpr std::string_view kName = "tiff:Orientation";
  for (auto at = xmp.begin();;) {
    at = std::search(at, xmp.end(), kName.begin(), kName.end());
    if (at == xmp.end()) return;
    at += static_cast<long>(kName.size());
    // name="6" or <name>6</name>
    const auto digit = std::find_if(at, xmp.end(), [](uint8_t c) { return !std::strchr("=\"'> \t\r\n", c); });
    if (digit != xmp.end() && digit != at && *digit >= '2' && *digit <= '8') *digit = '1';
  }
}

FilePtr openForWriting(int descriptor) {
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return nullptr;
  FilePtr file(fdopen(copy, "wb"));
  if (!file) close(copy);
  return file;
}

}  // namespace vello
