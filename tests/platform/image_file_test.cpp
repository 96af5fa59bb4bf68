#include "platform/image_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/platform/other_files.h"
#include "tests/platform/test_images.h"
#include "tests/platform/test_profiles.h"

namespace vello {
namespace {

using testing::differences;
using testing::gradient;
using ::testing::HasSubstr;
using testing::layoutOf;
using testing::noise;
using testing::readBytes;
using testing::TemporaryFolder;
using testing::writeBytes;

struct Kind {
  const char* name;
  ImageFormat format;
  const char* file;
  int bits, components;
  AlphaInfo alpha;
  const char* space;
};

const Kind kKinds[] = {
    {"TiffRGB8", ImageFormat::tiff, "a.tif", 8, 3, AlphaInfo::none, "sRGB"},
    {"TiffRGB16", ImageFormat::tiff, "a.tif", 16, 3, AlphaInfo::none, "Display P3"},
    {"TiffStraight8", ImageFormat::tiff, "a.tiff", 8, 4, AlphaInfo::last, "Adobe RGB"},
    {"TiffPremultiplied16", ImageFormat::tiff, "a.tif", 16, 4, AlphaInfo::premultipliedLast, "sRGB"},
    {"TiffGray8", ImageFormat::tiff, "a.tif", 8, 1, AlphaInfo::none, "generic gray"},
    {"TiffGrayAlpha16", ImageFormat::tiff, "a.tif", 16, 2, AlphaInfo::last, "generic gray"},
    {"PngRGB8", ImageFormat::png, "a.png", 8, 3, AlphaInfo::none, "generic RGB"},
    {"PngStraight8", ImageFormat::png, "a.png", 8, 4, AlphaInfo::last, "Display P3"},
    {"PngStraight16", ImageFormat::png, "a.png", 16, 4, AlphaInfo::last, "sRGB"},
    {"PngGray16", ImageFormat::png, "a.png", 16, 1, AlphaInfo::none, "generic gray"},
    {"JpegRGB", ImageFormat::jpeg, "a.jpg", 8, 3, AlphaInfo::none, "sRGB"},
    {"JpegGray", ImageFormat::jpeg, "a.jpg", 8, 1, AlphaInfo::none, "generic gray"},
};

class EveryKind : public ::testing::TestWithParam<Kind> {};

TEST_P(EveryKind, KeepsPixelsProfileAndResolution) {
  const TemporaryFolder folder;
  const Kind& kind = GetParam();
  const std::string path = folder.file(kind.file);
  const bool jpeg = kind.format == ImageFormat::jpeg;  // loses a little, even of smooth pictures
  const PixelLayout layout = layoutOf(37, 23, kind.bits, kind.components, kind.alpha);
  const Bitmap bitmap =
      jpeg ? gradient(37, 23, kind.components) : noise(layout, ColorSpace::named(kind.space));
  ImageWriteOptions options{.format = kind.format};
  options.metadata.dpiX = 300, options.metadata.dpiY = 350.5;
  ASSERT_EQ(writeImageFile(path, bitmap, options), std::nullopt);
  const ImageReadResult result = readImageFile(path);
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(differences(bitmap, result.bitmap, jpeg ? 6 : 0), 0);
  EXPECT_EQ(result.bitmap.layout().alpha, kind.alpha);
  EXPECT_EQ(result.bitmap.space()->profile(), bitmap.space()->profile());
  const double tolerance = kind.format == ImageFormat::png ? 0.0127 : 0;  // whole pixels a metre
  EXPECT_NEAR(result.metadata.dpiX.value_or(0), 300, tolerance);
  EXPECT_NEAR(result.metadata.dpiY.value_or(0), 350.5, tolerance);
  EXPECT_EQ(result.info.format, kind.format);
  std::string error;
  const auto info = imageFileInfo(path, &error);
  ASSERT_TRUE(info) << error;
  EXPECT_EQ(info->width, 37);
  EXPECT_EQ(info->bitsPerComponent, kind.bits);
  EXPECT_EQ(info->hasAlpha, kind.alpha != AlphaInfo::none);
  EXPECT_EQ(folder.fileCount(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryKind, ::testing::ValuesIn(kKinds),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(JPEGFile, QualityIsHeardAndAMissingEndMarkerIsNoError) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.jpg");
  const auto written = [&](int quality) {
    const ImageWriteOptions options{.format = ImageFormat::jpeg, .jpegQuality = quality};
    EXPECT_EQ(writeImageFile(path, noise(layoutOf(64, 64, 8, 3, AlphaInfo::none)), options), std::nullopt);
    return readBytes(path);
  };
  const std::vector<uint8_t> fine = written(95), coarse = written(60);
  EXPECT_LT(coarse.size() * 2, fine.size());
  writeBytes(path, {coarse.begin(), coarse.end() - 2});
  EXPECT_EQ(readImageFile(path).error, "");
}

TEST(ImageFile, WhatAFormatCannotHoldIsRefusedAndNothingIsLeft) {
  const Kind refusals[] = {
      {"premultiplied PNG", ImageFormat::png, "x", 8, 4, AlphaInfo::premultipliedLast, nullptr},
      {"JPEG with alpha", ImageFormat::jpeg, "x", 8, 4, AlphaInfo::last, nullptr},
      {"16-bit JPEG", ImageFormat::jpeg, "x", 16, 3, AlphaInfo::none, nullptr},
      {"float TIFF", ImageFormat::tiff, "x", 32, 3, AlphaInfo::none, nullptr},
      {"WebP", ImageFormat::webp, "x", 8, 3, AlphaInfo::none, nullptr},
  };
  const TemporaryFolder folder;
  for (const Kind& row : refusals) {
    const Bitmap bitmap = noise(layoutOf(4, 4, row.bits, row.components, row.alpha));
    const auto error = writeImageFile(folder.file(row.file), bitmap, {.format = row.format});
    EXPECT_THAT(error.value_or(""), ::testing::StartsWith(folder.file("x: "))) << row.name;
  }
  EXPECT_EQ(folder.fileCount(), 0u);
}

TEST(ImageFile, AFailedWriteLeavesTheOldFile) {
  const TemporaryFolder folder;
  const std::string path = folder.file("old.jpg");
  writeBytes(path, {1, 2, 3});
  // Wider than JPEG can say: found after the new file was begun.
  const auto error = writeImageFile(path, gradient(70000, 1), {.format = ImageFormat::jpeg});
  EXPECT_THAT(error.value_or(""), HasSubstr("65500"));
  EXPECT_EQ(readBytes(path), (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(folder.fileCount(), 1u);
  EXPECT_THAT(
      writeImageFile(folder.file("no/such.png"), gradient(2, 2), {.format = ImageFormat::png}).value_or(""),
      HasSubstr("no/such.png"));
}

TEST(ImageFile, AByteOrderAndSkippedComponentsAreNotSeenInFiles) {
  const TemporaryFolder folder;
  PixelLayout bgra = layoutOf(5, 3, 8, 4, AlphaInfo::first);
  bgra.pixelBytesReversed = true;
  PixelLayout xrgb = layoutOf(5, 3, 16, 4, AlphaInfo::noneSkipFirst);
  xrgb.littleEndian = false;
  for (const ImageFormat format : {ImageFormat::png, ImageFormat::tiff}) {
    const Bitmap a = noise(bgra), b = noise(xrgb);
    ASSERT_EQ(writeImageFile(folder.file("a"), a, {.format = format}), std::nullopt);
    ASSERT_EQ(writeImageFile(folder.file("b"), b, {.format = format}), std::nullopt);
    const Bitmap readA = readImageFile(folder.file("a")).bitmap,
                 readB = readImageFile(folder.file("b")).bitmap;
    ASSERT_EQ(readA.layout().componentsPerPixel, 4);
    ASSERT_EQ(readB.layout().componentsPerPixel, 3);
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(testing::component(readA, 3, 2, k), testing::component(a, 3, 2, k == 3 ? 3 : 2 - k));
      if (k == 3) continue;
      EXPECT_EQ(testing::component(readB, 3, 2, k), testing::component(b, 3, 2, k + 1));
    }
  }
}

TEST(ImageFile, OnlyRegularFilesAreOpened) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
  writeBytes(folder.file("empty"), {});
  writeBytes(folder.file("text"), {'h', 'e', 'l', 'l', 'o'});
  const std::pair<std::string, const char*> rows[] = {{folder.file("fifo"), "not a regular file"},
                                                      {"/dev/zero", "not a regular file"},
                                                      {folder.file(""), "folder"},
                                                      {folder.file("missing"), "No such file"},
                                                      {folder.file("empty"), "is empty"},
                                                      {folder.file("text"), "not a TIFF, PNG"}};
  for (const auto& row : rows) {
    EXPECT_THAT(readImageFile(row.first).error, HasSubstr(row.second));
    EXPECT_THAT(readImageFile(row.first).error, ::testing::StartsWith(row.first));
    std::string error;
    EXPECT_FALSE(imageFileInfo(row.first, &error));
    EXPECT_THAT(error, HasSubstr(row.second));
  }
}

// Files of a few bytes whose headers promise enormous pictures.
TEST(ImageFile, EnormousHeadersAreRefusedBeforeMemoryIsTaken) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a");
  const Bitmap small = gradient(4, 4);
  ASSERT_EQ(writeImageFile(path, small, {.format = ImageFormat::png}), std::nullopt);
  const std::vector<uint8_t> png = readBytes(path);
  const auto writePNG = [&](const char* name, size_t width, size_t height) {
    constexpr long kHeader = 8, kText = kHeader + 8, kHeaderEnd = 33;
    std::vector<uint8_t> file = png, data(png.begin() + kText, png.begin() + kHeaderEnd - 4);
    testing::putBigEndian32(data.data(), width);
    testing::putBigEndian32(data.data() + 4, height);
    const auto header = testing::pngChunk("IHDR", data);
    std::copy(header.begin(), header.end(), file.begin() + kHeader);
    writeBytes(folder.file(name), file);
  };
  writePNG("60000.png", 60000, 60000);
  writePNG("wide.png", (1 << 20) + 1, 1);

  ASSERT_EQ(writeImageFile(path, small, {.format = ImageFormat::jpeg}), std::nullopt);
  std::vector<uint8_t> jpeg = readBytes(path);
  const std::vector<uint8_t> frame{0xff, 0xc0, 0, 17, 8, 0, 4, 0, 4};
  const auto at = std::search(jpeg.begin(), jpeg.end(), frame.begin(), frame.end());
  ASSERT_NE(at, jpeg.end());
  at[5] = at[7] = 0xff, at[6] = at[8] = 0xdc;
  writeBytes(folder.file("65500.jpg"), jpeg);

  TIFF* tiff = TIFFOpen(folder.file("100000.tif").c_str(), "w");
  testing::setTags(tiff, layoutOf(100000, 100000, 8, 3, AlphaInfo::none), {});
  uint8_t one = 0;
  TIFFWriteRawStrip(tiff, 0, &one, 1);
  TIFFClose(tiff);

  const ImageLimits limits{.pixels = 1 << 30, .bytes = int64_t{4} << 30};
  for (const char* name : {"60000.png", "wide.png", "65500.jpg", "100000.tif"}) {
    EXPECT_THAT(readImageFile(folder.file(name), limits).error, HasSubstr("limit")) << name;
  }
  // Also with limits that would let them pass, nothing of that size is filled.
  const ImageLimits none{.pixels = int64_t{1} << 40, .bytes = int64_t{1} << 36};
  EXPECT_FALSE(readImageFile(folder.file("60000.png"), none).ok());
}

TEST(ImageFile, LimitsHoldForEveryAxisAreaAndByte) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.png");
  ASSERT_EQ(writeImageFile(path, gradient(20, 10), {.format = ImageFormat::png}), std::nullopt);
  EXPECT_TRUE(readImageFile(path, {.side = 20, .pixels = 200, .bytes = 600}).ok());
  EXPECT_FALSE(readImageFile(path, {.side = 19, .pixels = 200, .bytes = 600}).ok());
  EXPECT_FALSE(readImageFile(path, {.side = 20, .pixels = 199, .bytes = 600}).ok());
  EXPECT_FALSE(readImageFile(path, {.side = 20, .pixels = 200, .bytes = 599}).ok());
}

TEST(ImageFile, ABrokenProfileMeansSRGBWithAWarning) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  const Bitmap bitmap = gradient(8, 8);
  ASSERT_EQ(writeImageFile(path, bitmap, {.format = ImageFormat::tiff}), std::nullopt);
  std::vector<uint8_t> bytes = readBytes(path);
  const std::string mark = "acsp";  // of an ICC profile's header
  const auto at = std::search(bytes.begin(), bytes.end(), mark.begin(), mark.end());
  ASSERT_NE(at, bytes.end());
  *at = 'x';
  writeBytes(path, bytes);
  const ImageReadResult result = readImageFile(path);
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(result.bitmap.space(), ColorSpace::sRGB());
  EXPECT_EQ(result.warnings.size(), 1u);
  EXPECT_EQ(differences(bitmap, result.bitmap), 0);
}

}  // namespace
}  // namespace vello
