// Raw bytes that share: copying a Data copies a reference. Immutable once made.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace vello {

class Data {
 public:
  Data() = default;
  explicit Data(std::vector<uint8_t> bytes)
      : bytes_(std::make_shared<const std::vector<uint8_t>>(std::move(bytes))) {}
  static Data fromText(std::string_view text) { return Data(std::vector<uint8_t>(text.begin(), text.end())); }

  const uint8_t* data() const { return bytes_ ? bytes_->data() : nullptr; }
  size_t size() const { return bytes_ ? bytes_->size() : 0; }
  bool empty() const { return size() == 0; }
  std::span<const uint8_t> span() const { return {data(), size()}; }
  friend bool operator==(const Data& a, const Data& b) {
    return a.size() == b.size() && std::equal(a.data(), a.data() + a.size(), b.data());
  }

 private:
  std::shared_ptr<const std::vector<uint8_t>> bytes_;
};

}  // namespace vello
