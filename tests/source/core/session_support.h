// What tests of stacks, chains and sessions share: a picture, a session on it, chains as text, the log and
// preferences of the tests' own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_bytes.h"
#include "platform/image_file.h"
#include "source/core/session/KPImageFilter.h"
#include "source/parameters/KPCoreImageParameterController.h"
#include "tests/source/log_capture.h"

namespace vello::test {

// Preferences in a folder that goes with the process; made before main, so before anything reads them.
class OwnPreferences {
 public:
  OwnPreferences() {
    std::string name = (std::filesystem::temp_directory_path() / "vello-tests-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
  }
  ~OwnPreferences() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
};
inline const OwnPreferences kOwnPreferences;

inline PixelLayout layoutOf(int64_t width, int64_t height, int components, AlphaInfo alpha) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.componentsPerPixel = components;
  layout.bytesPerRow = width * components;
  layout.alpha = alpha;
  return layout;
}

// Opaque, a different colour at every pixel.
inline Bitmap picture(int width, int height, AlphaInfo alpha = AlphaInfo::noneSkipLast,
                      ColorSpacePtr space = ColorSpace::sRGB()) {
  std::vector<uint8_t> bytes;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (const int value : {x * 7 + 3, y * 5 + 1, x + y, 255}) bytes.push_back(static_cast<uint8_t>(value));
  return Bitmap(layoutOf(width, height, 4, alpha), std::move(space), Data(std::move(bytes)));
}

// The error, empty on success.
inline std::string writePNG(const std::string& path, const Bitmap& bitmap) {
  ImageWriteOptions options;
  options.format = ImageFormat::png;
  return writeImageFile(path, bitmap, options).value_or("");
}

// A file of a few bytes whose header promises a grey picture of that size.
inline void writeTiffHeader(const std::string& path, uint32_t width, uint32_t height) {
  const uint32_t tags[][2] = {{256, width}, {257, height}, {258, 8}, {259, 1}, {262, 1},
                              {273, 8},     {277, 1},      {278, 1}, {279, 1}};
  std::vector<uint8_t> bytes{'I', 'I', 42, 0, 8, 0, 0, 0, static_cast<uint8_t>(std::size(tags)), 0};
  const auto put = [&bytes](uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<uint8_t>(value >> shift));
  };
  for (const auto& tag : tags) put(tag[0] | 4u << 16), put(1), put(tag[1]);
  put(0);
  ASSERT_EQ(writeFileAtomically(path, bytes), std::nullopt);
}

inline std::unique_ptr<KPImageFilter> session(int width, int height) {
  return KPImageFilter::imageFilterWithCGImage({picture(width, height), 0});
}

inline std::string names(const KPFilterStack& stack) {
  std::string all;
  for (const auto& box : stack.filterArray())
    all += (all.empty() ? "" : " ") + box->coreFilter()->name().substr(2);
  return all;
}

// The control of an input.
template <class C>
C& control(const KPFilterBoxController& box, std::string_view key) {
  for (const auto& controller : box.parameterControllers())
    if (controller->key() == key) return dynamic_cast<C&>(*controller);
  throw std::out_of_range(std::string(key));
}

// An XML property list around `content`.
inline std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}
inline std::string box(const std::string& filter, const std::string& values = "") {
  return "<dict><key>CIAttributeFilterName</key><string>" + filter + "</string>" + values + "</dict>";
}
inline std::string entry(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key>" + value;
}
inline const std::string kBackground =
    box("CIConstantColorGenerator", entry("inputColor", "<string>0 0 0 0</string>"));
// The boxes above a transparent background.
inline std::string chain(const std::string& boxes) {
  return plist("<array>" + kBackground + boxes + "</array>");
}

}  // namespace vello::test
