// What the tests of the C interface share: objects that release themselves, the log, pictures, chains.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>
#include <vello/vello.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace capi_test {

// Owns what a Create function returned.
template <class Ref>
class Owned {
 public:
  Owned(Ref object) : object_(object) {}
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { VelloRelease(object_); }
  operator Ref() const { return object_; }

 private:
  Ref object_;
};

// Collects the log while it lives.
class LogLines {
 public:
  LogLines() { VelloSetLogHandler(&LogLines::add, this); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  ~LogLines() { VelloSetLogHandler(nullptr, nullptr); }
  size_t count() const { return lines_.size(); }
  // How many lines hold the text.
  int with(const std::string& text) const {
    int found = 0;
    for (const std::string& line : lines_) found += line.find(text) != std::string::npos;
    return found;
  }
  std::string all() const {
    std::string text;
    for (const std::string& line : lines_) text += line + "\n";
    return text;
  }
  void clear() { lines_.clear(); }

 private:
  static void add(const char* line, void* self) {
    auto& log = *static_cast<LogLines*>(self);
    const std::lock_guard lock(log.mutex_);
    log.lines_.push_back(line);
  }
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vello-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream(path_ / name, std::ios::binary) << contents;
    return file(name);
  }

 private:
  std::filesystem::path path_;
};

inline Owned<CFStringRef> text(const std::string& utf8) {
  return VelloStringCreateWithBytes(utf8.data(), utf8.size());
}

// Gradients and a fine pattern, opaque unless `alpha` says otherwise; RGBA, premultiplied.
inline std::vector<uint8_t> pixelsOf(size_t width, size_t height, bool alpha = false) {
  std::vector<uint8_t> pixels;
  for (size_t y = 0; y < height; ++y)
    for (size_t x = 0; x < width; ++x) {
      const size_t a = alpha ? (x * 7 + y * 13) % 256 : 255;
      for (const size_t c : {x * 255 / width, y * 255 / height, (x * 31 + y * 17) % 256, size_t{255}})
        pixels.push_back(static_cast<uint8_t>(c * a / 255));
    }
  return pixels;
}

inline Owned<CGDataProviderRef> providerOf(const std::vector<uint8_t>& bytes) {
  return KP_CGDataProviderCreateWithCFData(Owned<CFDataRef>(VelloDataCreate(bytes.data(), bytes.size())));
}

inline Owned<CGImageRef> imageOf(size_t width, size_t height, const std::vector<uint8_t>& pixels,
                                 uint32_t bitmapInfo = kVelloAlphaPremultipliedLast,
                                 CGColorSpaceRef space = nullptr) {
  const size_t bits = pixels.size() * 8 / (width * height);
  return KP_CGImageCreate(width, height, 8, bits, width * bits / 8, space, bitmapInfo, providerOf(pixels),
                          nullptr, 0, 0);
}

inline Owned<CGImageRef> testImage(size_t width, size_t height, bool alpha = false) {
  return imageOf(width, height, pixelsOf(width, height, alpha));
}

// What the values were that the function left; `pixels` are empty when there was no result.
struct Filtered {
  size_t width = 1, height = 1;
  std::vector<uint8_t> pixels;
};

inline Filtered filtered(CGImageRef image, CFStringRef chain) {
  Filtered result;
  CFDataRef data = reinterpret_cast<CFDataRef>(1);
  EXPECT_EQ(CreateFilteredImageWithChain(image, chain, &data, &result.width, &result.height), 0);
  const auto* bytes = static_cast<const uint8_t*>(VelloDataGetBytes(data));
  result.pixels.assign(bytes, bytes + VelloDataGetLength(data));
  VelloRelease(data);
  return result;
}

inline std::vector<uint8_t> render(CGImageRef image, const std::string& chain) {
  return filtered(image, text(chain)).pixels;
}

// A chain of the given boxes over a transparent background; each is a name and its keys as XML.
inline std::string box(const std::string& name, const std::string& keys = "") {
  return "<dict><key>CIAttributeFilterName</key><string>" + name + "</string>" + keys + "</dict>";
}
inline std::string chainOf(const std::string& boxes) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array>" +
         box("CIConstantColorGenerator", "<key>inputColor</key><string>0 0 0 0</string>") + boxes +
         "</array></plist>";
}
inline std::string real(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key><real>" + value + "</real>";
}
inline std::string place(const std::string& key, const std::string& x, const std::string& y) {
  return "<key>" + key + "</key><dict>" + real("X", x) + real("Y", y) + "</dict>";
}
inline std::string color(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key><string>" + value + "</string>";
}
// A picture that is fitted as if it had just been chosen.
inline std::string picture(const std::string& key, const std::string& path) {
  return "<key>" + key + "</key><dict><key>path</key><string>" + path +
         "</string><key>bounds</key><string>{{0, 0}, {0, 0}}</string><key>source</key><string>{{0, 0}, {0, "
         "0}}</string></dict>";
}

}  // namespace capi_test
