// What a filter chain may hold. A chain comes from files and documents nobody vouches for: what lies beyond
// is refused before it costs time or memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vello {

inline constexpr size_t kChainTextBytes = size_t{16} << 20;
inline constexpr int kChainDepth = 64;       // of values within values
inline constexpr size_t kChainBoxes = 1000;  // the background box is one of them
inline constexpr int kChainImageFiles = 64;
inline constexpr int64_t kChainImagePixels = 1'000'000'000;  // of all its image files together

}  // namespace vello
