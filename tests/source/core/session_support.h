// What tests of stacks, chains and sessions share: a picture, a session on it, chains as text, the log and
// preferences of the tests' own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/image_file.h"
#include "platform/log.h"
#include "source/core/session/KPImageFilter.h"

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

// Log lines of its lifetime.
class LogCapture {
 public:
  LogCapture() : former_(setLogSink([this](const std::string& line) { lines.push_back(line); })) {}
  ~LogCapture() { setLogSink(former_); }
  bool has(std::string_view part) const {
    for (const std::string& line : lines)
      if (line.find(part) != std::string::npos) return true;
    return false;
  }
  std::vector<std::string> lines;

 private:
  LogSink former_;
};

// Opaque, a different colour at every pixel.
inline Bitmap picture(int width, int height, AlphaInfo alpha = AlphaInfo::noneSkipLast,
                      ColorSpacePtr space = ColorSpace::sRGB()) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.bytesPerRow = width * 4;
  layout.alpha = alpha;
  std::vector<uint8_t> bytes;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (const int value : {x * 7 + 3, y * 5 + 1, x + y, 255}) bytes.push_back(static_cast<uint8_t>(value));
  return Bitmap(layout, std::move(space), Data(std::move(bytes)));
}

// The error, empty on success.
inline std::string writePNG(const std::string& path, const Bitmap& bitmap) {
  ImageWriteOptions options;
  options.format = ImageFormat::png;
  return writeImageFile(path, bitmap, options).value_or("");
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
