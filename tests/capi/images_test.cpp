// Pixels from the host: their layouts, who owns them, and picture files.
#include <algorithm>
#include <iterator>

#include "tests/capi/support.h"

namespace capi_test {
namespace {

struct CreateRow {
  const char* name;
  size_t width, height, bits, pixelBits, rowBytes;
  const char* space;  // nullptr: none
  uint32_t info;
  size_t bytes;
  bool good;
};

constexpr size_t kHuge = SIZE_MAX / 2;

const CreateRow kRows[] = {
    {"RGBA", 4, 2, 8, 32, 16, nullptr, kVelloAlphaPremultipliedLast, 32, true},
    {"last row without padding", 3, 2, 8, 32, 16, nullptr, kVelloAlphaLast, 28, true},
    {"BGRA", 4, 2, 8, 32, 16, "sRGB", kVelloAlphaPremultipliedFirst | kVelloByteOrder32Little, 32, true},
    {"RGB", 4, 2, 8, 24, 12, "Display P3", kVelloAlphaNone, 24, true},
    {"RGB in 32 bits", 4, 2, 8, 32, 16, "sRGB", kVelloAlphaNone, 32, true},
    {"grey", 4, 2, 8, 8, 4, "generic gray", kVelloAlphaNone, 8, true},
    {"CMYK", 4, 2, 8, 32, 16, "device CMYK", kVelloAlphaNone, 32, true},
    {"16 bit, little end first", 4, 2, 16, 64, 32, nullptr, kVelloAlphaLast | kVelloByteOrder16Little, 64,
     true},
    {"floats", 4, 2, 32, 128, 64, nullptr, kVelloAlphaLast | kVelloFloatComponents | kVelloByteOrder32Little,
     128, true},
    {"no width", 0, 2, 8, 32, 16, nullptr, kVelloAlphaLast, 32, false},
    {"no height", 4, 0, 8, 32, 16, nullptr, kVelloAlphaLast, 32, false},
    {"too few bytes", 4, 2, 8, 32, 16, nullptr, kVelloAlphaLast, 31, false},
    {"rows too short", 4, 2, 8, 32, 15, nullptr, kVelloAlphaLast, 64, false},
    {"bits are no multiple", 4, 2, 8, 30, 16, nullptr, kVelloAlphaLast, 64, false},
    {"no bits", 4, 2, 0, 32, 16, nullptr, kVelloAlphaLast, 64, false},
    {"1 bit", 8, 2, 1, 1, 1, nullptr, kVelloAlphaNone, 64, false},
    {"float of 8 bits", 4, 2, 8, 32, 16, nullptr, kVelloAlphaLast | kVelloFloatComponents, 64, false},
    {"integers of 32 bits", 4, 2, 32, 128, 64, nullptr, kVelloAlphaLast, 128, false},
    {"grey space for RGBA", 4, 2, 8, 32, 16, "generic gray", kVelloAlphaLast, 64, false},
    {"RGB space for one component", 4, 2, 8, 8, 4, "sRGB", kVelloAlphaNone, 64, false},
    {"16-bit order for bytes", 4, 2, 8, 32, 16, nullptr, kVelloAlphaLast | kVelloByteOrder16Little, 64,
     false},
    {"unknown alpha", 4, 2, 8, 32, 16, nullptr, 9, 64, false},
    {"unknown order", 4, 2, 8, 32, 16, nullptr, kVelloAlphaLast | 7u << 12, 64, false},
    {"unknown info", 4, 2, 8, 32, 16, nullptr, kVelloAlphaLast | 1u << 20, 64, false},
    {"width beyond everything", kHuge, 2, 8, 32, 16, nullptr, kVelloAlphaLast, 64, false},
    {"size that wraps", 1u << 30, 1u << 30, 8, 32, kHuge, nullptr, kVelloAlphaLast, 64, false},
    {"height that wraps", 4, 1u << 31, 8, 32, size_t{1} << 33, nullptr, kVelloAlphaLast, 64, false},
};

TEST(ImageCreate, ChecksItsNumbers) {
  for (const CreateRow& row : kRows) {
    const std::vector<uint8_t> bytes(row.bytes, 100);
    const Owned<CFDataRef> data = VelloDataCreate(bytes.data(), bytes.size());
    const Owned<CGDataProviderRef> provider = KP_CGDataProviderCreateWithCFData(data);
    const Owned<CGColorSpaceRef> space = VelloColorSpaceCreateWithName(row.space);
    LogLines log;
    const Owned<CGImageRef> image = KP_CGImageCreate(row.width, row.height, row.bits, row.pixelBits,
                                                     row.rowBytes, space, row.info, provider, nullptr, 1, 0);
    EXPECT_EQ(image != nullptr, row.good) << row.name << log.all();
    EXPECT_EQ(log.count(), row.good ? 0u : 1u) << row.name << log.all();
    if (!image) continue;
    EXPECT_EQ(VelloImageGetWidth(image), row.width) << row.name;
    EXPECT_EQ(VelloImageGetBitsPerPixel(image), row.pixelBits) << row.name;
    EXPECT_EQ(VelloImageGetBytes(image), VelloDataGetBytes(data)) << row.name;
    EXPECT_EQ(render(image, "()").size(), row.width * row.height * 4) << row.name;
  }
  EXPECT_EQ(KP_CGImageCreate(1, 1, 8, 32, 4, nullptr, 1, nullptr, nullptr, 0, 0), nullptr);
  EXPECT_EQ(KP_CGDataProviderCreateWithCFData(nullptr), nullptr);
}

// The same three pixels in every layout.
TEST(ImageCreate, LayoutsSayWhereComponentsLie) {
  const std::vector<uint8_t> rgba = {10, 20, 30, 255, 200, 100, 0, 255, 1, 2, 3, 255};
  const auto arranged = [&](std::vector<int> places) {
    std::vector<uint8_t> bytes;
    for (size_t pixel = 0; pixel < 3; ++pixel)
      for (int place : places) bytes.push_back(place < 0 ? 77 : rgba[pixel * 4 + static_cast<size_t>(place)]);
    return bytes;
  };
  const struct {
    const char* name;
    std::vector<int> places;
    uint32_t info;
  } rows[] = {{"RGBA", {0, 1, 2, 3}, kVelloAlphaPremultipliedLast},
              {"ARGB", {3, 0, 1, 2}, kVelloAlphaFirst},
              {"BGRA", {2, 1, 0, 3}, kVelloAlphaFirst | kVelloByteOrder32Little},
              {"ABGR", {3, 2, 1, 0}, kVelloAlphaLast | kVelloByteOrder32Little},
              {"RGBx", {0, 1, 2, -1}, kVelloAlphaNoneSkipLast},
              {"xRGB", {-1, 0, 1, 2}, kVelloAlphaNoneSkipFirst},
              {"RGB", {0, 1, 2}, kVelloAlphaNone}};
  for (const auto& row : rows)
    EXPECT_EQ(render(imageOf(3, 1, arranged(row.places), row.info), "()"), rgba) << row.name;
}

TEST(ImageCreate, DecodeStretchesColours) {
  const std::vector<uint8_t> ink = {0, 255, 51, 255};
  const auto provider = providerOf(ink);
  const CGFloat inverted[] = {1, 0, 1, 0, 1, 0}, half[] = {0, 0.5, 0.2, 0.2, -1, 3};
  const auto decoded = [&](const CGFloat* decode) {
    const Owned<CGImageRef> image =
        KP_CGImageCreate(1, 1, 8, 32, 4, nullptr, kVelloAlphaLast, provider, decode, 0, 0);
    return render(image, "()");
  };
  EXPECT_EQ(decoded(inverted), (std::vector<uint8_t>{255, 0, 204, 255}));
  EXPECT_EQ(decoded(half), (std::vector<uint8_t>{0, 51, 0, 255}));
  EXPECT_EQ(decoded(nullptr), ink);
}

// The host's bytes live until the last object over them is released, in whatever order that happens.
TEST(Ownership, SharedBytesLiveAsLongAsAnImageUsesThem) {
  for (int order = 0; order < 6; ++order) {
    const auto pixels = pixelsOf(4, 4);
    int released = 0;
    const CFDataRef data = VelloDataCreateNoCopy(
        pixels.data(), pixels.size(), [](void* count) { ++*static_cast<int*>(count); }, &released);
    const CGDataProviderRef provider = KP_CGDataProviderCreateWithCFData(data);
    const CGImageRef image =
        KP_CGImageCreate(4, 4, 8, 32, 16, nullptr, kVelloAlphaPremultipliedLast, provider, nullptr, 0, 0);
    const void* objects[] = {data, provider, image};
    for (int i = 0; i < order; ++i) std::next_permutation(objects, objects + 3);
    for (const void* object : objects) {
      EXPECT_EQ(released, 0) << order;
      VelloRelease(object);
    }
    EXPECT_EQ(released, 1) << order;
  }
}

TEST(Ownership, RetainedObjectsOutliveTheirArray) {
  const CFStringRef string = VelloStringCreate("kept");
  const void* values[] = {string, string};
  const CFArrayRef array = VelloArrayCreate(values, 2);
  VelloRelease(string);
  const auto* second = static_cast<CFStringRef>(VelloRetain(VelloArrayGetValue(array, 1)));
  VelloRelease(array);
  EXPECT_STREQ(VelloStringGetUTF8(second), "kept");
  VelloRelease(second);
  const void* none[] = {nullptr};
  EXPECT_EQ(VelloArrayCreate(none, 1), nullptr);
  EXPECT_EQ(VelloRetain(nullptr), nullptr);
  VelloRelease(nullptr);
}

TEST(Strings, AreUTF8) {
  EXPECT_STREQ(VelloStringGetUTF8(text("\xE6\x97\xA5")), "\xE6\x97\xA5");
  EXPECT_EQ(VelloStringGetLength(text(std::string("a\0b", 3))), 3u);
  EXPECT_EQ(VelloStringCreate("\xFF"), nullptr);
  EXPECT_EQ(VelloStringCreate(nullptr), nullptr);
  EXPECT_EQ(VelloStringCreateWithFile("/dev/zero"), nullptr);
}

TEST(Files, OpaquePixelsComeBackFromEveryLosslessFormat) {
  const TemporaryFolder folder;
  const auto pixels = pixelsOf(33, 21);
  const Owned<CGColorSpaceRef> space = VelloColorSpaceCreateWithName("Adobe RGB");
  const auto image = imageOf(33, 21, pixels, kVelloAlphaPremultipliedLast, space);
  for (const char* name : {"a.png", "a.tif", "a.TIFF"}) {
    ASSERT_EQ(VelloImageWriteToFile(image, folder.file(name).c_str()), 0) << name;
    const Owned<CGImageRef> read = VelloImageCreateWithFile(folder.file(name).c_str());
    ASSERT_NE(read, nullptr) << name;
    EXPECT_EQ(render(read, "()"), pixels) << name;
  }
  EXPECT_EQ(VelloImageWriteToFile(image, folder.file("a.jpg").c_str()), 0);
}

TEST(Files, WhatCannotBeReadOrWrittenIsALine) {
  const TemporaryFolder folder;
  const auto image = testImage(3, 3);
  LogLines log;
  EXPECT_EQ(VelloImageCreateWithFile(folder.file("missing.png").c_str()), nullptr);
  EXPECT_EQ(VelloImageCreateWithFile(folder.write("bad.png", "\x89PNG").c_str()), nullptr);
  EXPECT_EQ(VelloImageWriteToFile(image, folder.file("a.gif").c_str()), -1);
  EXPECT_EQ(VelloImageWriteToFile(image, folder.file("none/a.png").c_str()), -1);
  EXPECT_EQ(VelloImageWriteToFile(nullptr, folder.file("a.png").c_str()), -1);
  EXPECT_EQ(log.count(), 5u) << log.all();
  EXPECT_FALSE(std::filesystem::exists(folder.file("a.png")));
}

}  // namespace
}  // namespace capi_test
