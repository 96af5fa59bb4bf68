// Pictures and folders that tests make for themselves.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/bitmap.h"

namespace vello::testing {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vello-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  size_t fileCount() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

inline std::vector<uint8_t> readBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline PixelLayout layoutOf(int64_t width, int64_t height, int bits, int components, AlphaInfo alpha) {
  PixelLayout layout{.width = width,
                     .height = height,
                     .bitsPerComponent = bits,
                     .componentsPerPixel = components,
                     .alpha = alpha,
                     .isFloat = bits == 32};
  layout.bytesPerRow = width * layout.bytesPerPixel();
  return layout;
}

inline Data randomData(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return Data(std::move(bytes));
}

inline Bitmap noise(const PixelLayout& layout, ColorSpacePtr space = nullptr) {
  return Bitmap(layout, std::move(space),
                randomData(static_cast<size_t>(layout.bytesPerRow * layout.height), 11));
}

// Smooth, so that JPEG changes it little.
inline Bitmap gradient(int64_t width, int64_t height, int components = 3) {
  const PixelLayout layout = layoutOf(width, height, 8, components, AlphaInfo::none);
  std::vector<uint8_t> bytes;
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 0; x < width; ++x) {
      for (int k = 0; k < components; ++k) {
        bytes.push_back(static_cast<uint8_t>((x * (k + 1) + y * (3 - k)) * 80 / (width + height)));
      }
    }
  }
  return Bitmap(layout, nullptr, Data(std::move(bytes)));
}

// The first component of a pixel of an 8- or 16-bit bitmap in native byte order or as its layout says.
inline int component(const Bitmap& bitmap, int64_t x, int64_t y, int k) {
  const PixelLayout& layout = bitmap.layout();
  const uint8_t* p = bitmap.row(y) + x * layout.bytesPerPixel() + k * layout.bitsPerComponent / 8;
  if (layout.bitsPerComponent == 8) return *p;
  return layout.littleEndian ? p[0] | p[1] << 8 : p[1] | p[0] << 8;
}

// How many components differ by more than `tolerance`; -1 when size, depth or number of components differ.
inline int64_t differences(const Bitmap& a, const Bitmap& b, int tolerance = 0) {
  const PixelLayout &p = a.layout(), &q = b.layout();
  if (p.width != q.width || p.height != q.height || p.bitsPerComponent != q.bitsPerComponent ||
      p.componentsPerPixel != q.componentsPerPixel) {
    return -1;
  }
  int64_t count = 0;
  for (int64_t y = 0; y < p.height; ++y) {
    for (int64_t x = 0; x < p.width; ++x) {
      for (int k = 0; k < p.componentsPerPixel; ++k) {
        count += std::abs(component(a, x, y, k) - component(b, x, y, k)) > tolerance;
      }
    }
  }
  return count;
}

}  // namespace vello::testing
