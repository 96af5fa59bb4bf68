// Files as other programs write them, made with the formats' own libraries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <webp/encode.h>

#include <cstring>

#include "platform/image_file.h"
#include "platform/pixel_conversion.h"
#include "tests/platform/other_files.h"
#include "tests/platform/test_images.h"
#include "tests/platform/test_profiles.h"

namespace vello {
namespace {

using testing::component;
using testing::layoutOf;
using testing::noise;
using testing::TemporaryFolder;
using testing::TiffForm;
using Bytes = std::vector<uint8_t>;

constexpr uint16_t kPlanes = PLANARCONFIG_SEPARATE;

struct TiffRow {
  const char* name;
  int bits, samples;
  TiffForm form;
  int components;
  // Of the pixel's k-th, from the bitmap that was written; nullptr: the same.
  int (*expected)(const Bitmap& written, int64_t x, int64_t y, int k) = nullptr;
};

int packedSample(const Bitmap& written, int64_t x, int64_t y, int bits) {
  const int shift = 8 - bits - static_cast<int>(x * bits % 8);
  return component(written, x * bits / 8, y, 0) >> shift & ((1 << bits) - 1);
}

int paletteColor(const Bitmap& written, int64_t x, int64_t y, int k) {
  const int index = component(written, x, y, 0);
  const int color[] = {index, 255 - index, 1, 255};
  return color[k];
}

const TiffRow kTiffRows[] = {
    {"MixedStrips", 8, 3, {.rowsPerStrip = 1, .mixed = true}, 3},
    {"BigEndianRGB16", 16, 3, {.mode = "wb"}, 3},
    {"UncompressedPlanarRGB", 8, 3, {.planar = kPlanes}, 3},
    {"PlanarRGB", 8, 3, {.planar = kPlanes, .compression = COMPRESSION_LZW}, 3},
    {"TiledRGB16", 16, 3, {.compression = COMPRESSION_ADOBE_DEFLATE, .tile = 16}, 3},
    {"TiledPlanarRGB", 8, 3, {.planar = kPlanes, .tile = 16}, 3},
    {"WhiteIsZero",
     8,
     1,
     {.compression = COMPRESSION_PACKBITS, .photometric = PHOTOMETRIC_MINISWHITE},
     1,
     [](const Bitmap& written, int64_t x, int64_t y, int k) { return 255 - component(written, x, y, k); }},
    {"CMYK", 8, 4, {.compression = COMPRESSION_LZW, .photometric = PHOTOMETRIC_SEPARATED}, 4},
    {"ExtraChannel", 8, 5, {.compression = COMPRESSION_LZW}, 3},
    {"FourBit",
     8,
     1,
     {.photometric = PHOTOMETRIC_MINISBLACK, .bits = 4},
     1,
     [](const Bitmap& written, int64_t x, int64_t y, int) { return packedSample(written, x, y, 4) * 17; }},
    {"OneBit",
     8,
     1,
     {.compression = COMPRESSION_CCITTFAX4, .photometric = PHOTOMETRIC_MINISBLACK, .bits = 1},
     1,
     [](const Bitmap& written, int64_t x, int64_t y, int) { return packedSample(written, x, y, 1) * 255; }},
    {"Palette", 8, 1, {.compression = COMPRESSION_LZW, .photometric = PHOTOMETRIC_PALETTE}, 4, paletteColor},
    {"TiledPalette",
     8,
     1,
     {.compression = COMPRESSION_LZW, .tile = 16, .photometric = PHOTOMETRIC_PALETTE},
     4,
     paletteColor},
};

class EveryTiff : public ::testing::TestWithParam<TiffRow> {};

TEST_P(EveryTiff, IsReadRight) {
  const TemporaryFolder folder;
  const TiffRow& row = GetParam();
  const AlphaInfo alpha = row.samples == 5 ? AlphaInfo::last : AlphaInfo::none;
  const Bitmap written = noise(layoutOf(19, 17, row.bits, row.samples, alpha));
  testing::writeTiff(folder.file("a.tif"), written, row.form);
  const ImageReadResult result = readImageFile(folder.file("a.tif"));
  ASSERT_TRUE(result.ok()) << result.error;
  ASSERT_EQ(result.bitmap.layout().componentsPerPixel, row.components);
  for (int y = 0; y < 17; ++y) {
    for (int x = 0; x < 19; ++x) {
      for (int k = 0; k < row.components; ++k) {
        ASSERT_EQ(component(result.bitmap, x, y, k),
                  row.expected ? row.expected(written, x, y, k) : component(written, x, y, k))
            << x << " " << y << " " << k;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tiffs, EveryTiff, ::testing::ValuesIn(kTiffRows),
                         [](const auto& row) { return std::string(row.param.name); });

template <class Sample>
void writePixel(const std::string& path, uint16_t photometric, const std::vector<Sample>& samples) {
  const PixelLayout layout = layoutOf(1, 1, 8 * sizeof(Sample), 3, AlphaInfo::none);
  Bytes bytes(3 * sizeof(Sample));
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  testing::writeTiff(path, Bitmap(layout, nullptr, Data(bytes)), {.photometric = photometric});
}

std::vector<float> lightOf(const std::string& path) {
  const ImageReadResult result = readImageFile(path);
  EXPECT_TRUE(result.ok()) << result.error;
  EXPECT_FALSE(result.info.hasAlpha);
  float r = 0, g = 0, b = 0, a = 0;
  if (result.ok()) PixelReader(result.bitmap).readLinear(0, 0, 1, {&r, &g, &b, &a});
  return {r, g, b};
}

// Spaces that few programs write.
TEST(OtherTiff, LabAndLumaBecomeLight) {
  struct Row {
    const char* name;
    uint16_t photometric;
    int bits;
    std::vector<uint16_t> pixel;
    float expected[3];  // encoded in sRGB, of 255
  };
  const Row rows[] = {
      {"Lab white", PHOTOMETRIC_CIELAB, 8, {255, 0, 0}, {255, 255, 255}},
      {"Lab grey, 16 bit", PHOTOMETRIC_CIELAB, 16, {35127, 0, 0}, {128, 128, 128}},  // L* 53.6
      // L* 53.24, a* 80.09, b* 67.20 is sRGB's red under D65; 54.29, 80.81, 69.89 under D50.
      {"Lab red, 16 bit", PHOTOMETRIC_CIELAB, 16, {35579, 20687, 17892}, {255, 0, 0}},
      {"luma grey", PHOTOMETRIC_YCBCR, 8, {128, 128, 128}, {128, 128, 128}},
      {"luma red", PHOTOMETRIC_YCBCR, 8, {76, 85, 255}, {254, 0, 0}},
  };
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  for (const Row& row : rows) {
    const Bytes narrow(row.pixel.begin(), row.pixel.end());
    row.bits == 8 ? writePixel(path, row.photometric, narrow) : writePixel(path, row.photometric, row.pixel);
    const std::vector<float> light = lightOf(path);
    for (size_t k = 0; k < 3; ++k)
      EXPECT_NEAR(sRGBEncode(light[k]) * 255, row.expected[k], 1.2) << row.name << k;
  }
}

TEST(OtherTiff, FloatsHoldLight) {
  const TemporaryFolder folder;
  const std::vector<float> light{0.25f, -0.5f, 7.0f};
  writePixel(folder.file("a.tif"), PHOTOMETRIC_RGB, light);
  EXPECT_EQ(lightOf(folder.file("a.tif")), light);
}

TEST(CMYKJPEG, InvertedInkIsTurnedAndItsProfileIsUsed) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.jpg");
  Bytes inverted;
  for (int i = 0; i < 64; ++i) inverted.insert(inverted.end(), {255 - 200, 255 - 100, 255, 255 - 20});
  const Bitmap written(layoutOf(8, 8, 8, 4, AlphaInfo::none), nullptr, Data(inverted));
  for (const Bytes& profile : {Bytes(), testing::makeCMYKProfile()}) {
    testing::writeJPEG(path, written, false, profile);
    const ImageReadResult result = readImageFile(path);
    ASSERT_TRUE(result.ok()) << result.error;
    EXPECT_EQ(result.bitmap.space()->model(), ColorSpace::Model::cmyk);
    EXPECT_EQ(result.bitmap.space()->profile().size(), profile.size());
    const int ink[4] = {200, 100, 0, 20};
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(component(result.bitmap, 3, 3, k), ink[k], 2);
  }
}

Bytes little32(size_t value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 24)};
}

void addChunk(Bytes& file, const std::string& name, const Bytes& data) {
  const Bytes size = little32(data.size());
  file.insert(file.end(), name.begin(), name.end());
  file.insert(file.end(), size.begin(), size.end());
  file.insert(file.end(), data.begin(), data.end());
  if (data.size() % 2) file.push_back(0);
}

TEST(WebP, GivesPixelsAlphaProfileAndMetadata) {
  const TemporaryFolder folder;
  const Bitmap bitmap = noise(layoutOf(13, 9, 8, 4, AlphaInfo::last));
  uint8_t* encoded = nullptr;
  const size_t size = WebPEncodeLosslessRGBA(bitmap.row(0), 13, 9, 13 * 4, &encoded);
  ASSERT_GT(size, 20u);
  const Bytes image(encoded + 12 + 8, encoded + size);  // of the one chunk "VP8L"
  WebPFree(encoded);
  const Bytes profile = testing::makeProfile(testing::kRGBProfiles[1]);
  Bytes chunks{'W', 'E', 'B', 'P'};
  addChunk(chunks, "VP8X", {0x20 | 0x10 | 0x08 | 0x04, 0, 0, 0, 12, 0, 0, 8, 0, 0});
  addChunk(chunks, "ICCP", profile);
  addChunk(chunks, "VP8L", image);
  addChunk(chunks, "EXIF", {'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  addChunk(chunks, "XMP ", {'<', 'x', '>'});
  Bytes file;
  addChunk(file, "RIFF", chunks);
  testing::writeBytes(folder.file("a.webp"), file);
  const ImageReadResult result = readImageFile(folder.file("a.webp"));
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(testing::differences(bitmap, result.bitmap), 0);
  EXPECT_EQ(result.bitmap.layout().alpha, AlphaInfo::last);
  EXPECT_EQ(result.bitmap.space()->profile(), Data(profile));
  EXPECT_EQ(result.metadata.exif.size(), 14u);
  EXPECT_EQ(result.metadata.xmp, (Bytes{'<', 'x', '>'}));
  for (int part = 0; part < 20; ++part) {
    testing::writeBytes(folder.file("a.webp"),
                        {file.begin(), file.begin() + static_cast<long>(image.size()) * part / 20});
    EXPECT_FALSE(readImageFile(folder.file("a.webp")).ok()) << part << "/20";
  }
}

// Palette with transparency, packed grey, interlacing.
TEST(PNG, EveryPixelFormIsExpanded) {
  struct Row {
    const char* name;
    int type, depth, interlace, components;
    std::vector<int> expected;  // of the pixel at 3, 0
  };
  const Row rows[] = {
      {"palette", PNG_COLOR_TYPE_PALETTE, 2, PNG_INTERLACE_NONE, 4, {30, 31, 32, 40}},
      {"interlaced palette", PNG_COLOR_TYPE_PALETTE, 2, PNG_INTERLACE_ADAM7, 4, {30, 31, 32, 40}},
      {"2-bit grey", PNG_COLOR_TYPE_GRAY, 2, PNG_INTERLACE_NONE, 1, {255}},
      {"1-bit grey", PNG_COLOR_TYPE_GRAY, 1, PNG_INTERLACE_ADAM7, 1, {255}},
  };
  const TemporaryFolder folder;
  for (const Row& row : rows) {
    const Bytes lines(4, row.depth == 2 ? 0x1b : 0x10);  // 0 1 2 3, or 0 0 0 1
    PixelLayout layout = layoutOf(4, 4, 8, 1, AlphaInfo::none);
    layout.bytesPerRow = 1;
    testing::writePNG(folder.file("a.png"), Bitmap(layout, nullptr, Data(lines)),
                      {row.type, row.depth, row.interlace});
    const ImageReadResult result = readImageFile(folder.file("a.png"));
    ASSERT_TRUE(result.ok()) << row.name << ": " << result.error;
    ASSERT_EQ(result.bitmap.layout().componentsPerPixel, row.components) << row.name;
    for (int k = 0; k < row.components; ++k) {
      EXPECT_EQ(component(result.bitmap, 3, 2, k), row.expected[static_cast<size_t>(k)]) << row.name;
    }
  }
}

}  // namespace
}  // namespace vello
