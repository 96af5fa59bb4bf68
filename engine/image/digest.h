// 128-bit content digests: equal recipes have equal digests, whoever built them and when.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace vello {

struct Digest {
  uint64_t high = 0, low = 0;
  friend bool operator==(const Digest&, const Digest&) = default;
  friend auto operator<=>(const Digest&, const Digest&) = default;  // NOLINT(modernize-use-nullptr)
};

// Collects what makes up a digest. Two multiply-xorshift streams with different constants; not cryptographic.
class DigestBuilder {
 public:
  DigestBuilder& add(uint64_t word) {
    digest_.high = mix(digest_.high ^ word, 0x9E3779B97F4A7C15u);
    digest_.low = mix(digest_.low + word, 0xD6E8FEB86659FD93u);
    return *this;
  }
  DigestBuilder& add(double number) {
    uint64_t bits;
    std::memcpy(&bits, &number, sizeof bits);
    return add(bits);
  }
  DigestBuilder& add(const Digest& d) { return add(d.high).add(d.low); }
  DigestBuilder& add(std::string_view text) {
    add(uint64_t{text.size()});
    for (size_t i = 0; i < text.size(); i += 8) {
      uint64_t word = 0;
      std::memcpy(&word, text.data() + i, text.size() - i < 8 ? text.size() - i : 8);
      add(word);
    }
    return *this;
  }
  const Digest& digest() const { return digest_; }

 private:
  static uint64_t mix(uint64_t x, uint64_t factor) {
    x = (x ^ (x >> 32)) * factor;
    return (x ^ (x >> 29)) * 0xBF58476D1CE4E5B9u;
  }
  Digest digest_{0x243F6A8885A308D3u, 0x13198A2E03707344u};
};

}  // namespace vello
