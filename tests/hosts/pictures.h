// Picture files for the program's tests, and their pixels read back.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/image_file.h"

namespace vello::test {

struct PictureKind {
  int64_t width = 24, height = 16;
  int bits = 8;
  int components = 3;  // 1 grey, 3 colour, 4 with straight alpha
  ColorSpacePtr space = ColorSpace::sRGB();
};

inline PixelLayout layoutOf(const PictureKind& kind) {
  PixelLayout layout;
  layout.width = kind.width;
  layout.height = kind.height;
  layout.bitsPerComponent = kind.bits;
  layout.componentsPerPixel = kind.components;
  layout.alpha = kind.components == 4 ? AlphaInfo::last : AlphaInfo::none;
  layout.littleEndian = kind.bits == 16;
  layout.bytesPerRow = layout.bytesPerPixel() * layout.width;
  return layout;
}

// Any bytes are a picture: noise shows every wrong row, channel and rounding.
inline Bitmap noise(const PictureKind& kind, unsigned seed = 1) {
  const PixelLayout layout = layoutOf(kind);
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(static_cast<size_t>(layout.bytesPerRow * layout.height));
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return Bitmap(layout, kind.space, Data(std::move(bytes)));
}

inline void writePicture(const std::string& path, const Bitmap& bitmap, const ImageMetadata& metadata = {}) {
  ImageWriteOptions options;
  options.format = imageFormatForPath(path).value();
  options.metadata = metadata;
  ASSERT_EQ(writeImageFile(path, bitmap, options).value_or(""), "");
}

inline ImageReadResult readPicture(const std::string& path) {
  ImageReadResult read = readImageFile(path);
  EXPECT_EQ(read.error, "");
  return read;
}

// Rows without padding, 16-bit components in this machine's order.
inline std::vector<uint8_t> pixels(const Bitmap& bitmap) {
  std::vector<uint8_t> bytes;
  const int64_t row = bitmap.layout().bytesPerPixel() * bitmap.width();
  for (int64_t y = 0; y < bitmap.height(); ++y) bytes.insert(bytes.end(), bitmap.row(y), bitmap.row(y) + row);
  const bool swapped = bitmap.layout().bitsPerComponent == 16 && !bitmap.layout().littleEndian;
  for (size_t i = 0; swapped && i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  return bytes;
}

inline std::string fileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// A chain as a file's text: the boxes' dictionaries in XML, after the transparent background.
inline std::string chainText(const std::string& boxes) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><array><dict>"
         "<key>CIAttributeFilterName</key><string>CIConstantColorGenerator</string>"
         "<key>inputColor</key><string>0 0 0 0</string></dict>" +
         boxes + "</array></plist>";
}

inline std::string box(const std::string& filter, const std::string& members = "") {
  return "<dict><key>CIAttributeFilterName</key><string>" + filter + "</string>" + members + "</dict>";
}

inline std::string numberMember(const std::string& key, const std::string& number) {
  return "<key>" + key + "</key><real>" + number + "</real>";
}

// A picture file stretched over the lower left corner of the source.
inline std::string pictureMember(const std::string& key, const std::string& path, int width, int height) {
  const std::string place =
      "<string>{{0, 0}, {" + std::to_string(width) + ", " + std::to_string(height) + "}}</string>";
  return "<key>" + key + "</key><dict><key>path</key><string>" + path + "</string><key>bounds</key>" + place +
         "<key>source</key>" + place + "</dict>";
}

}  // namespace vello::test
