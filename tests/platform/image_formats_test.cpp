// Files as other programs write them, made with the formats' own libraries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiffio.h>
#include <webp/encode.h>

#include <cstdio>
// jpeglib.h needs FILE
#include <jpeglib.h>
#include <png.h>

#include "platform/image_file.h"
#include "platform/pixel_conversion.h"
#include "tests/platform/test_images.h"
#include "tests/platform/test_profiles.h"

namespace vello {
namespace {

using testing::component;
using testing::TemporaryFolder;
using Bytes = std::vector<uint8_t>;

struct TiffRow {
  const char* name;
  uint16_t photometric, bits, samples, planar, compression;
  bool tiled;
  int expectedComponents;
};

constexpr int kWidth = 19, kHeight = 17;

const TiffRow kTiffRows[] = {
    {"PlanarRGB", PHOTOMETRIC_RGB, 8, 3, PLANARCONFIG_SEPARATE, COMPRESSION_LZW, false, 3},
    {"TiledRGB16", PHOTOMETRIC_RGB, 16, 3, PLANARCONFIG_CONTIG, COMPRESSION_ADOBE_DEFLATE, true, 3},
    {"TiledPlanarRGB", PHOTOMETRIC_RGB, 8, 3, PLANARCONFIG_SEPARATE, COMPRESSION_NONE, true, 3},
    {"WhiteIsZero", PHOTOMETRIC_MINISWHITE, 8, 1, PLANARCONFIG_CONTIG, COMPRESSION_PACKBITS, false, 1},
    {"CMYK", PHOTOMETRIC_SEPARATED, 8, 4, PLANARCONFIG_CONTIG, COMPRESSION_LZW, false, 4},
    {"ExtraChannel", PHOTOMETRIC_RGB, 8, 5, PLANARCONFIG_CONTIG, COMPRESSION_LZW, false, 3},
    {"FourBit", PHOTOMETRIC_MINISBLACK, 4, 1, PLANARCONFIG_CONTIG, COMPRESSION_NONE, false, 1},
    {"OneBit", PHOTOMETRIC_MINISBLACK, 1, 1, PLANARCONFIG_CONTIG, COMPRESSION_CCITTFAX4, false, 1},
    {"Palette", PHOTOMETRIC_PALETTE, 8, 1, PLANARCONFIG_CONTIG, COMPRESSION_LZW, false, 4},
};

unsigned sampleAt(int x, int y, int k, int bits) {
  const auto value = static_cast<unsigned>(x * 1009 + y * 4001 + k * 20011) % 65536;
  return value >> (16 - bits);
}

// One row of one plane, or of all samples together.
Bytes packedRow(const TiffRow& row, int x0, int n, int y, int plane) {
  const bool separate = row.planar == PLANARCONFIG_SEPARATE;
  Bytes bytes(static_cast<size_t>(n * row.samples * 2 + 8));
  size_t bit = 0;
  for (int x = x0; x < x0 + n; ++x) {
    for (int k = separate ? plane : 0; k < (separate ? plane + 1 : row.samples); ++k) {
      const unsigned value = sampleAt(x, y, k, row.bits);
      if (row.bits == 16) {
        bytes[bit / 8] = static_cast<uint8_t>(value), bytes[bit / 8 + 1] = static_cast<uint8_t>(value >> 8);
      } else {
        bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | value << (8 - row.bits - bit % 8));
      }
      bit += row.bits;
    }
  }
  return bytes;
}

void writeTiff(const std::string& path, const TiffRow& row) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, row.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, row.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, row.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, row.planar);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, row.compression);
  const uint16_t unspecified[2] = {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED};
  if (row.samples == 5) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 2, unspecified);
  if (row.photometric == PHOTOMETRIC_PALETTE) {
    std::vector<uint16_t> r(256), g(256), b(256);
    for (unsigned i = 0; i < 256; ++i) {
      r[i] = static_cast<uint16_t>(i * 257), g[i] = static_cast<uint16_t>((255 - i) * 257), b[i] = 257;
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, r.data(), g.data(), b.data());
  }
  const int planes = row.planar == PLANARCONFIG_SEPARATE ? row.samples : 1;
  constexpr int kTile = 16;
  if (row.tiled) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kTile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, kTile);
  }
  for (int plane = 0; plane < planes; ++plane) {
    for (int y = 0; y < kHeight && !row.tiled; ++y) {
      Bytes bytes = packedRow(row, 0, kWidth, y, plane);
      TIFFWriteScanline(tiff, bytes.data(), static_cast<uint32_t>(y), static_cast<uint16_t>(plane));
    }
    for (int top = 0; top < kHeight && row.tiled; top += kTile) {
      for (int left = 0; left < kWidth; left += kTile) {
        Bytes tile;
        const auto rowBytes = static_cast<long>(TIFFTileRowSize(tiff));
        for (int y = top; y < top + kTile; ++y) {
          const Bytes bytes = packedRow(row, left, kTile, y, plane);
          tile.insert(tile.end(), bytes.begin(), bytes.begin() + rowBytes);
        }
        TIFFWriteTile(tiff, tile.data(), static_cast<uint32_t>(left), static_cast<uint32_t>(top), 0,
                      static_cast<uint16_t>(plane));
      }
    }
  }
  TIFFClose(tiff);
}

int expectedComponent(const TiffRow& row, int x, int y, int k) {
  const auto value = static_cast<int>(sampleAt(x, y, k, row.bits)), largest = (1 << row.bits) - 1;
  if (row.photometric == PHOTOMETRIC_PALETTE) {
    const auto index = static_cast<int>(sampleAt(x, y, 0, 8));
    return k == 0 ? index : k == 1 ? 255 - index : k == 2 ? 1 : 255;
  }
  const int full = row.bits < 8 ? 255 : largest;
  const int light = row.photometric == PHOTOMETRIC_MINISWHITE ? largest - value : value;
  return static_cast<int>(int64_t{light} * full / largest);
}

class EveryTiff : public ::testing::TestWithParam<TiffRow> {};

TEST_P(EveryTiff, IsReadRight) {
  const TemporaryFolder folder;
  const TiffRow& row = GetParam();
  writeTiff(folder.file("a.tif"), row);
  const ImageReadResult result = readImageFile(folder.file("a.tif"));
  ASSERT_TRUE(result.ok()) << result.error;
  ASSERT_EQ(result.bitmap.layout().componentsPerPixel, row.expectedComponents);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int k = 0; k < row.expectedComponents; ++k) {
        ASSERT_EQ(component(result.bitmap, x, y, k), expectedComponent(row, x, y, k))
            << x << " " << y << " " << k;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tiffs, EveryTiff, ::testing::ValuesIn(kTiffRows),
                         [](const auto& row) { return std::string(row.param.name); });

// Spaces that few programs write.
TEST(OtherTiff, LabAndLumaBecomeLight) {
  struct Row {
    const char* name;
    uint16_t photometric, bits, pixel[3];
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
  for (const Row& row : rows) {
    TIFF* tiff = TIFFOpen(folder.file("a.tif").c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 1);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, row.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, row.photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (row.photometric == PHOTOMETRIC_YCBCR) TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
    uint16_t wide[3] = {row.pixel[0], row.pixel[1], row.pixel[2]};
    uint8_t narrow[3];
    for (int k = 0; k < 3; ++k) narrow[k] = static_cast<uint8_t>(row.pixel[k]);
    TIFFWriteScanline(tiff, row.bits == 8 ? static_cast<void*>(narrow) : wide, 0);
    TIFFClose(tiff);
    const ImageReadResult result = readImageFile(folder.file("a.tif"));
    ASSERT_TRUE(result.ok()) << row.name << ": " << result.error;
    EXPECT_FALSE(result.info.hasAlpha);
    float rgb[3], alpha;
    PixelReader(result.bitmap).readLinear(0, 0, 1, {&rgb[0], &rgb[1], &rgb[2], &alpha});
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(sRGBEncode(rgb[k]) * 255, row.expected[k], 1.2) << row.name << k;
  }
}

TEST(FloatTiff, HoldsLight) {
  const TemporaryFolder folder;
  TIFF* tiff = TIFFOpen(folder.file("a.tif").c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 1);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  float pixel[3] = {0.25f, -0.5f, 7.0f};
  TIFFWriteScanline(tiff, pixel, 0);
  TIFFClose(tiff);
  const ImageReadResult result = readImageFile(folder.file("a.tif"));
  ASSERT_TRUE(result.ok()) << result.error;
  float r, g, b, a;
  PixelReader(result.bitmap).readLinear(0, 0, 1, {&r, &g, &b, &a});
  EXPECT_EQ(r, 0.25f);
  EXPECT_EQ(g, -0.5f);
  EXPECT_EQ(b, 7.0f);
}

TEST(CMYKJPEG, InvertedInkIsTurnedAndItsProfileIsUsed) {
  const TemporaryFolder folder;
  const std::vector<uint8_t> profile = testing::makeCMYKProfile();
  for (const bool tagged : {false, true}) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    std::FILE* file = std::fopen(folder.file("a.jpg").c_str(), "wb");
    jpeg_stdio_dest(&info, file);
    info.image_width = info.image_height = 8;
    info.input_components = 4;
    info.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    jpeg_start_compress(&info, TRUE);  // with Adobe's marker
    if (tagged) jpeg_write_icc_profile(&info, profile.data(), static_cast<unsigned>(profile.size()));
    Bytes row;
    for (int x = 0; x < 8; ++x) row.insert(row.end(), {255 - 200, 255 - 100, 255, 255 - 20});
    for (int y = 0; y < 8; ++y) {
      JSAMPROW pointer = row.data();
      jpeg_write_scanlines(&info, &pointer, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::fclose(file);
    const ImageReadResult result = readImageFile(folder.file("a.jpg"));
    ASSERT_TRUE(result.ok()) << result.error;
    EXPECT_EQ(result.bitmap.space()->model(), ColorSpace::Model::cmyk);
    EXPECT_EQ(result.bitmap.space()->profile().size(), tagged ? profile.size() : 0);
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
  const Bitmap bitmap = testing::noise(testing::layoutOf(13, 9, 8, 4, AlphaInfo::last));
  uint8_t* encoded = nullptr;
  WebPConfig config;
  WebPConfigInit(&config);
  config.lossless = 1, config.exact = 1;
  WebPPicture picture;
  WebPPictureInit(&picture);
  picture.use_argb = 1, picture.width = 13, picture.height = 9;
  WebPPictureImportRGBA(&picture, bitmap.row(0), 13 * 4);
  WebPMemoryWriter writer;
  WebPMemoryWriterInit(&writer);
  picture.writer = WebPMemoryWrite, picture.custom_ptr = &writer;
  ASSERT_TRUE(WebPEncode(&config, &picture));
  encoded = writer.mem;
  const Bytes profile = testing::makeProfile(testing::kRGBProfiles[1]);
  const Bytes image(encoded + 12 + 8, encoded + writer.size);  // of the one chunk "VP8L"
  WebPMemoryWriterClear(&writer);
  WebPPictureFree(&picture);
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
    std::FILE* file = std::fopen(folder.file("a.png").c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, 4, 4, row.depth, row.type, row.interlace, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_color colors[4] = {{0, 1, 2}, {10, 11, 12}, {20, 21, 22}, {30, 31, 32}};
    png_byte alphas[4] = {10, 20, 30, 40};
    if (row.type == PNG_COLOR_TYPE_PALETTE) {
      png_set_PLTE(png, info, colors, 4);
      png_set_tRNS(png, info, alphas, 4, nullptr);
    }
    uint8_t line = row.depth == 2 ? 0x1b : 0x10;  // 0 1 2 3, or 0 0 0 1
    uint8_t* lines[4] = {&line, &line, &line, &line};
    png_set_rows(png, info, lines);
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
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
