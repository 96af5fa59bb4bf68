#include "platform/streamed_picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <functional>

#include "platform/image_codecs/exif.h"
#include "tests/platform/other_files.h"
#include "tests/platform/test_images.h"

namespace vello {
namespace {

using ::testing::HasSubstr;
using testing::layoutOf;
using testing::noise;
using testing::readBytes;
using testing::TemporaryFolder;
using testing::TiffForm;
using testing::writeBytes;
using Storage = StreamedPicture::Storage;

Bitmap rgb() { return noise(layoutOf(141, 203, 8, 3, AlphaInfo::none)); }

using Maker = std::function<void(const std::string& path)>;

struct File {
  const char* name;
  Maker make;
  bool inOrder = true;
};

Maker ours(ImageFormat format, int bits, int components, AlphaInfo alpha = AlphaInfo::none) {
  return [=](const std::string& path) {
    ImageWriteOptions options{.format = format};
    options.metadata.dpiX = options.metadata.dpiY = 300;
    options.metadata.xmp = {'<', 'x', '/', '>'};
    ASSERT_EQ(writeImageFile(path, noise(layoutOf(141, 203, bits, components, alpha)), options),
              std::nullopt);
  };
}

Maker tiff(const TiffForm& form, int bits = 8) {
  const int components = form.photometric == PHOTOMETRIC_PALETTE ? 1 : 3;
  return [=](const std::string& path) {
    testing::writeTiff(path, noise(layoutOf(141, 203, bits, components, AlphaInfo::none)), form);
  };
}

void interlacedPNG(const std::string& path) { testing::writePNG(path, rgb(), {}); }
void progressiveJPEG(const std::string& path) { testing::writeJPEG(path, rgb(), true); }

constexpr uint16_t kPlanes = PLANARCONFIG_SEPARATE, kPalette = PHOTOMETRIC_PALETTE;
const File kFiles[] = {
    {"TiffRGB8", ours(ImageFormat::tiff, 8, 3)},
    {"TiffGray16", ours(ImageFormat::tiff, 16, 1)},
    {"TiffGrayAlpha16", ours(ImageFormat::tiff, 16, 2, AlphaInfo::last)},
    {"TiffStraight16", ours(ImageFormat::tiff, 16, 4, AlphaInfo::last)},
    {"TiffPremultiplied8", ours(ImageFormat::tiff, 8, 4, AlphaInfo::premultipliedLast)},
    {"PngRGB8", ours(ImageFormat::png, 8, 3)},
    {"PngStraight16", ours(ImageFormat::png, 16, 4, AlphaInfo::last)},
    {"PngGray8", ours(ImageFormat::png, 8, 1)},
    {"JpegRGB", ours(ImageFormat::jpeg, 8, 3)},
    {"JpegGray", ours(ImageFormat::jpeg, 8, 1)},
    {"BigTiff", tiff({.mode = "w8"})},
    {"BigEndianTiff", tiff({.mode = "wb"}, 16)},
    {"FloatTiff", tiff({}, 32)},
    {"PlanarTiff", tiff({.planar = kPlanes, .compression = COMPRESSION_LZW})},
    {"TiledTiff", tiff({.compression = COMPRESSION_ADOBE_DEFLATE, .tile = 32}, 16)},
    {"TiledPlanarTiff", tiff({.planar = kPlanes, .tile = 16})},
    {"PaletteTiff", tiff({.photometric = kPalette})},
    {"TiledPaletteTiff", tiff({.tile = 32, .photometric = kPalette})},
    {"OneTile", tiff({.tile = 256}), false},
    {"OneCompressedStrip", tiff({.compression = COMPRESSION_LZW, .rowsPerStrip = 0})},
    {"InterlacedPng", interlacedPNG, false},
    {"ProgressiveJpeg", progressiveJPEG},
    {"Orientation2", tiff({.orientation = 2})},
    {"Orientation3", tiff({.orientation = 3}), false},
    {"Orientation4", tiff({.orientation = 4}), false},
    {"Orientation5", tiff({.orientation = 5}), false},
    {"Orientation6", tiff({.orientation = 6}), false},
    {"Orientation7", tiff({.orientation = 7}), false},
    {"Orientation8", tiff({.orientation = 8}), false},
};

// The first of rows [begin, end) that differs, or -1.
int64_t differingRow(const Bitmap& a, const Bitmap& b, int64_t begin, int64_t end) {
  const auto bytes = static_cast<size_t>(a.width() * a.layout().bytesPerPixel());
  for (int64_t y = begin; y < end; ++y) {
    if (std::memcmp(a.row(y), b.row(y), bytes) != 0) return y;
  }
  return -1;
}

class EveryStream : public ::testing::TestWithParam<File> {
 protected:
  EveryStream() { GetParam().make(path_); }
  std::unique_ptr<StreamedPicture> opened(StreamOptions options = {}) {
    options.folder = folder_.file("");
    return StreamedPicture::open(path_, options, &error_);
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_.file("a");
  std::string error_;
};

void expectSameHead(const StreamedPicture& picture, const ImageReadResult& whole) {
  const PixelLayout &a = picture.bitmap().layout(), &b = whole.bitmap.layout();
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.height, b.height);
  EXPECT_EQ(a.alpha, b.alpha);
  EXPECT_EQ(a.bitsPerComponent, b.bitsPerComponent);
  EXPECT_EQ(a.littleEndian, b.littleEndian);
  EXPECT_EQ(picture.bitmap().space()->profile(), whole.bitmap.space()->profile());
  EXPECT_EQ(picture.metadata().dpiX, whole.metadata.dpiX);
  EXPECT_EQ(picture.metadata().exif, whole.metadata.exif);
  EXPECT_EQ(picture.metadata().xmp, whole.metadata.xmp);
  EXPECT_EQ(picture.info().width, whole.info.width);
  EXPECT_EQ(picture.info().format, whole.info.format);
}

TEST_P(EveryStream, RowsInUnevenStepsAreThoseOfTheWholePicture) {
  const ImageReadResult whole = readImageFile(path_);
  ASSERT_TRUE(whole.ok()) << whole.error;
  for (const bool randomAccess : {false, true}) {
    for (const int64_t keptInMemory : {int64_t{0}, int64_t{1} << 30}) {
      const auto picture = opened({.randomAccess = randomAccess, .keptInMemory = keptInMemory});
      ASSERT_TRUE(picture) << error_;
      EXPECT_EQ(picture->storage(), GetParam().inOrder && !randomAccess ? Storage::rowByRow
                                    : keptInMemory == 0                 ? Storage::temporaryFile
                                                                        : Storage::inMemory);
      expectSameHead(*picture, whole);
      EXPECT_EQ(folder_.fileCount(), 1u) << "the temporary file has no name";
      int64_t begin = 0;
      for (const int64_t end :
           {int64_t{1}, int64_t{9}, int64_t{80}, int64_t{80}, picture->bitmap().height()}) {
        ASSERT_EQ(picture->provide(end), "");
        EXPECT_EQ(differingRow(picture->bitmap(), whole.bitmap, begin, end), -1);
        if (!randomAccess) picture->release(begin = end - 1);
      }
      EXPECT_EQ(picture->warnings(), whole.warnings);
      if (picture->storage() != Storage::temporaryFile) continue;
      picture->release(whole.bitmap.height());
      EXPECT_EQ(differingRow(picture->bitmap(), whole.bitmap, 0, whole.bitmap.height()), -1)
          << "what the file holds is there after it was released";
    }
  }
}

TEST_P(EveryStream, CutOrDamagedAnywhereItTellsWhatReadingTheWholeTells) {
  const std::vector<uint8_t> good = readBytes(path_);
  for (size_t part = 0; part < 32; ++part) {
    std::vector<uint8_t> bad = good;
    if (part < 20) {
      bad.resize(good.size() * part / 20);
    } else {
      bad[good.size() * (part - 20) / 12 + 21] ^= 0x55;
    }
    writeBytes(path_, bad);
    const ImageReadResult whole = readImageFile(path_);
    const auto picture = opened({.keptInMemory = 0});
    ASSERT_EQ(picture ? picture->provide(INT64_MAX) : error_, whole.error) << part;
    EXPECT_THAT(whole.error, ::testing::AnyOf("", ::testing::StartsWith(path_ + ": "))) << part;
    EXPECT_TRUE(part >= 20 || !whole.ok()) << "cut at " << part << "/20";
    if (!whole.ok()) continue;
    EXPECT_EQ(picture->warnings(), whole.warnings) << part;
    EXPECT_EQ(differingRow(picture->bitmap(), whole.bitmap, 0, whole.bitmap.height()), -1) << part;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, EveryStream, ::testing::ValuesIn(kFiles),
                         [](const auto& row) { return std::string(row.param.name); });

int64_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  int64_t all = 0, resident = 0;
  file >> all >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

// 64 MB. Its skipped component is left out when it is read.
Bitmap largeBitmap() {
  PixelLayout layout = layoutOf(8192, 2048, 8, 4, AlphaInfo::noneSkipLast);
  layout.bytesPerRow = layout.bytesPerPixel();  // each row begins a pixel later
  const auto row = std::make_shared<std::vector<uint8_t>>(size_t{8192 + 4096} * 4);
  for (size_t i = 0; i < row->size(); ++i) (*row)[i] = static_cast<uint8_t>(i * i >> 7);
  return Bitmap(layout, nullptr, row, row->data());
}

struct LargeFile {
  const char* name;
  TiffForm form;
  bool randomAccess = false;
};

TEST(StreamedPicture, MemoryDoesNotGrowWithThePicture) {
  const LargeFile rows[] = {
      {"small strips", {}},           {"one strip", {.rowsPerStrip = 0}}, {"tiles", {.tile = 128}},
      {"turned", {.orientation = 6}}, {"random access", {}, true},
  };
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  const Bitmap large = largeBitmap();
  for (const LargeFile& row : rows) {
    testing::writeTiff(path, large, row.form);
    std::string error;
    const auto picture = StreamedPicture::open(
        path, {.randomAccess = row.randomAccess, .keptInMemory = 0, .folder = folder.file("")}, &error);
    ASSERT_TRUE(picture) << row.name << error;
    const int64_t before = residentBytes();
    int64_t most = before;
    for (int64_t y = 0; y < picture->bitmap().height(); y += 64) {
      ASSERT_EQ(picture->provide(y + 64), "") << row.name;
      most = std::max(most, residentBytes());
      for (int64_t i = y; row.form.orientation == 1 && i < y + 64; ++i) {
        for (int k = 0; k < 3; ++k)
          ASSERT_EQ(testing::component(picture->bitmap(), i, i, k), testing::component(large, i, i, k)) << i;
      }
      picture->release(y);
    }
    // Some steps into a file are on their way at once.
    const int64_t allowed = picture->isRowByRow() ? int64_t{12} << 20 : int64_t{40} << 20;
    EXPECT_LT(most - before, allowed) << row.name;
  }
}

TEST(StreamedPicture, ReleasedRowsTakeNoMemory) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  testing::writeTiff(path, largeBitmap(), {});
  std::string error;
  const auto picture = StreamedPicture::open(path, {}, &error);
  const Bitmap& bitmap = picture->bitmap();
  ASSERT_EQ(picture->provide(bitmap.height()), "");
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const auto resident = [&] {
    std::vector<unsigned char> pages(
        (static_cast<size_t>(bitmap.layout().bytesPerRow * bitmap.height()) + page - 1) / page);
    EXPECT_EQ(mincore(const_cast<uint8_t*>(bitmap.row(0)), pages.size() * page, pages.data()), 0);
    return std::count_if(pages.begin(), pages.end(), [](unsigned char state) { return state & 1; });
  };
  const auto all = resident();
  // In steps of 2 MiB.
  constexpr int64_t kReleased = int64_t{4} << 20;
  picture->release((kReleased + 4000) / bitmap.layout().bytesPerRow + 1);
  EXPECT_EQ(all - resident(), kReleased / static_cast<int64_t>(page));
}

TEST(StreamedPicture, WhatCannotBeHadIsToldBeforeTheWorkStarts) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.jpg");
  progressiveJPEG(path);
  std::string error;
  const auto fits = StreamedPicture::open(path, {}, &error);
  ASSERT_TRUE(fits) << error;
  // 4:2:0 keeps one and a half 16-bit values a sample, in whole blocks.
  EXPECT_NEAR(static_cast<double>(fits->heldBytes()), 141 * 203 * 3, 25000);
  EXPECT_FALSE(StreamedPicture::open(path, {.memory = fits->heldBytes() - 1}, &error));
  EXPECT_THAT(error, ::testing::AllOf(::testing::StartsWith(path), HasSubstr("MB of memory")));

  testing::writeTiff(path, rgb(), {});
  const std::string nowhere = folder.file("no such folder");
  EXPECT_FALSE(
      StreamedPicture::open(path, {.randomAccess = true, .keptInMemory = 0, .folder = nowhere}, &error));
  EXPECT_THAT(error, ::testing::AllOf(::testing::StartsWith(path), HasSubstr(nowhere), HasSubstr("1 MB")));

  TIFF* tiff = TIFFOpen(path.c_str(), "w8");  // of a million rows no byte is there
  testing::setTags(tiff, layoutOf(1 << 20, 1 << 20, 32, 4, AlphaInfo::noneSkipLast),
                   {.rowsPerStrip = 1 << 20});
  uint8_t one = 0;
  TIFFWriteRawStrip(tiff, 0, &one, 1);
  TIFFClose(tiff);
  EXPECT_FALSE(StreamedPicture::open(path, {.randomAccess = true, .folder = folder.file("")}, &error));
  EXPECT_THAT(error, ::testing::AllOf(HasSubstr("13194140 MB"), HasSubstr(folder.file(""))));
  const auto streamed = StreamedPicture::open(path, {}, &error);
  ASSERT_TRUE(streamed) << error;
  EXPECT_THAT(streamed->provide(1), HasSubstr("truncated"));
  EXPECT_FALSE(StreamedPicture::open(path, {.limits = {.pixels = 1 << 30}}, &error));
  EXPECT_THAT(error, HasSubstr("limit"));
  EXPECT_EQ(folder.fileCount(), 1u);
}

}  // namespace
}  // namespace vello
