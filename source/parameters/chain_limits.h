// What a chain may cost. A chain beyond any of these is refused as a whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vello {

inline constexpr size_t kMaxChainBytes = size_t{16} << 20;  // of text, in UTF-8
inline constexpr int kMaxChainDepth = 64;
inline constexpr size_t kMaxChainValues = 1'000'000;  // scalars, containers and keys, all together
inline constexpr size_t kMaxChainBoxes = 1000;
inline constexpr size_t kMaxChainImageFiles = 64;  // different files
inline constexpr int64_t kMaxChainImagePixels = 1'000'000'000;

}  // namespace vello
