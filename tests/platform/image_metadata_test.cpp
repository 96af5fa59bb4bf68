#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/image_codecs/exif.h"
#include "platform/image_codecs/tiff_metadata.h"
#include "platform/image_file.h"
#include "tests/platform/other_files.h"
#include "tests/platform/test_images.h"

namespace vello {
namespace {

using testing::gradient;
using testing::layoutOf;
using testing::readBytes;
using testing::TemporaryFolder;
using testing::writeBytes;
using Bytes = std::vector<uint8_t>;

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

bool contains(const Bytes& bytes, const Bytes& part) {
  return std::search(bytes.begin(), bytes.end(), part.begin(), part.end()) != bytes.end();
}

// An Exif block written out by hand: a camera's name, orientation 6, 300 dpi, a maker's note of an odd
// length, sizes, and a thumbnail in a second directory.
class ExifWriter {
 public:
  explicit ExifWriter(bool bigEndian) : big_(bigEndian) {
    bytes_ = text(bigEndian ? "MM" : "II");
    put(42, 2), put(8, 4);
  }
  Bytes make() {
    put(6, 2);
    entry(0x010f, 2, 12, 200);
    entry(0x0112, 3, 1, 6);
    entry(0x011a, 5, 1, 212);
    entry(0x011b, 5, 1, 220);
    entry(0x0128, 3, 1, 2);
    entry(0x8769, 4, 1, 100);
    put(400, 4);  // the second directory
    at(100), put(4, 2);
    entry(0x9003, 2, 20, 230);
    entry(0x927c, 7, 31, 260);
    entry(0xa002, 4, 1, 4000);
    entry(0xa003, 3, 1, 3000);
    put(0, 4);
    at(200), add(text("Test Camera")), put(0, 1);
    at(212), put(300, 4), put(1, 4), put(300, 4), put(1, 4);
    at(230), add(text("2024:05:06 07:08:09")), put(0, 1);
    at(260), add(Bytes(31, 0x5a));
    at(400), put(3, 2);
    entry(0x0103, 3, 1, 6);
    entry(0x0201, 4, 1, 450);
    entry(0x0202, 4, 1, 150);
    put(0, 4);
    at(450), add(thumbnail());
    return bytes_;
  }
  static Bytes thumbnail() { return Bytes(150, 0xe7); }

 private:
  void at(size_t place) { bytes_.resize(place); }
  void add(const Bytes& more) { bytes_.insert(bytes_.end(), more.begin(), more.end()); }
  void put(uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      bytes_.push_back(static_cast<uint8_t>(value >> 8 * (big_ ? count - 1 - i : i)));
    }
  }
  void entry(uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
    put(tag, 2), put(type, 2), put(count, 4);
    put(value, type == 3 ? 2 : 4);
    if (type == 3) put(0, 2);
  }
  bool big_;
  Bytes bytes_;
};

Bytes iptcBlock() { return {0x1c, 2, 120, 0, 5, 'G', 'r', 0xc3, 0xbc, 'n', 0x1c, 2, 0, 0, 2, 0, 4}; }

struct Container {
  const char* name;
  ImageFormat format;
  bool bigEndian;
};

const Container kContainers[] = {
    {"PngIntel", ImageFormat::png, false},   {"PngMotorola", ImageFormat::png, true},
    {"JpegIntel", ImageFormat::jpeg, false}, {"JpegMotorola", ImageFormat::jpeg, true},
    {"TiffIntel", ImageFormat::tiff, false}, {"TiffMotorola", ImageFormat::tiff, true},
};

class EveryContainer : public ::testing::TestWithParam<Container> {
 protected:
  ImageReadResult writtenAndRead(const ImageMetadata& metadata) {
    ImageWriteOptions options{.format = GetParam().format, .metadata = metadata};
    EXPECT_EQ(writeImageFile(path(), gradient(20, 10), options, &warnings_), std::nullopt);
    return readImageFile(path());
  }
  std::string path() const { return folder_.file("a"); }
  TemporaryFolder folder_;
  std::vector<std::string> warnings_;
};

TEST_P(EveryContainer, ExifSaysUprightAndTheNewSizeAndKeepsTheRest) {
  ImageMetadata metadata;
  metadata.exif = ExifWriter(GetParam().bigEndian).make();
  ASSERT_EQ(exifOrientation(metadata.exif), 6);
  const ImageReadResult result = writtenAndRead(metadata);
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(result.bitmap.width(), 20);  // not turned
  const Bytes& exif = result.metadata.exif;
  EXPECT_EQ(exifOrientation(exif), 1);
  EXPECT_FALSE(contains(readBytes(path()), ExifWriter::thumbnail()));
  EXPECT_TRUE(contains(exif, text("Test Camera")));
  EXPECT_TRUE(contains(exif, text("2024:05:06 07:08:09")));
  EXPECT_TRUE(contains(exif, Bytes(31, 0x5a)));
  if (GetParam().format == ImageFormat::tiff) return;
  // In the other containers the block is the same but for these bytes, and ends where the thumbnail began.
  Bytes expected = metadata.exif;
  expected.resize(400);
  const auto set = [&](size_t place, size_t count, uint32_t value) {
    for (size_t i = 0; i < count; ++i) {
      expected[place + (GetParam().bigEndian ? count - 1 - i : i)] = static_cast<uint8_t>(value >> 8 * i);
    }
  };
  set(10 + 12 + 8, 2, 1);        // orientation
  set(10 + 6 * 12, 4, 0);        // the second directory
  set(102 + 2 * 12 + 8, 4, 20);  // sizes
  set(102 + 3 * 12 + 8, 2, 10);
  EXPECT_EQ(exif, expected);
}

TEST_P(EveryContainer, CaptionsAndPacketsComeBackByteForByte) {
  ImageMetadata metadata;
  metadata.iptc = iptcBlock();
  metadata.xmp = text(
      "<?xpacket?><x:xmpmeta tiff:Orientation=\"8\" tiff:Make=\"8\"><tiff:Orientation>3"
      "</tiff:Orientation>\xc3\xbc</x:xmpmeta>   ");
  const ImageReadResult result = writtenAndRead(metadata);
  EXPECT_EQ(result.metadata.iptc, metadata.iptc);
  EXPECT_EQ(std::string(result.metadata.xmp.begin(), result.metadata.xmp.end()),
            "<?xpacket?><x:xmpmeta tiff:Orientation=\"1\" tiff:Make=\"8\"><tiff:Orientation>1"
            "</tiff:Orientation>\xc3\xbc</x:xmpmeta>   ");
  EXPECT_TRUE(warnings_.empty());
}

TEST_P(EveryContainer, ResolutionInExifFollowsTheFiles) {
  ImageMetadata metadata;
  metadata.exif = ExifWriter(GetParam().bigEndian).make();
  metadata.dpiX = metadata.dpiY = 123.25;
  const ImageReadResult result = writtenAndRead(metadata);
  EXPECT_EQ(exifDensity(result.metadata.exif).x, 123.25);
  EXPECT_NEAR(result.metadata.dpiY.value_or(0), 123.25, GetParam().format == ImageFormat::png ? 0.0127 : 0);
}

TEST_P(EveryContainer, BrokenBlocksDoNoHarm) {
  const Bytes whole = ExifWriter(GetParam().bigEndian).make();
  for (size_t cut = 0; cut < whole.size(); cut += 29) {
    ImageMetadata metadata;
    metadata.exif.assign(whole.begin(), whole.begin() + static_cast<long>(cut));
    const ImageReadResult result = writtenAndRead(metadata);
    ASSERT_TRUE(result.ok()) << cut << ": " << result.error;
    EXPECT_EQ(testing::differences(result.bitmap, gradient(20, 10), 8), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Containers, EveryContainer, ::testing::ValuesIn(kContainers),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ImageMetadata, TooLongForJPEGIsLeftOutWithAWarning) {
  const TemporaryFolder folder;
  ImageWriteOptions options{.format = ImageFormat::jpeg};
  options.metadata.xmp = Bytes(70000, ' ');
  std::vector<std::string> warnings;
  ASSERT_EQ(writeImageFile(folder.file("a"), gradient(4, 4), options, &warnings), std::nullopt);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_THAT(warnings[0], ::testing::HasSubstr("XMP"));
}

// Some programs write what they know of a picture behind its pixels.
TEST(PNGMetadata, BehindThePixelsIsKnownFromTheStart) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.png");
  ASSERT_EQ(writeImageFile(path, gradient(20, 10), {.format = ImageFormat::png}), std::nullopt);
  Bytes file = readBytes(path);
  const Bytes exif = ExifWriter(true).make(), chunk = testing::pngChunk("eXIf", exif);
  constexpr long kEndChunk = 12;
  file.insert(file.end() - kEndChunk, chunk.begin(), chunk.end());
  writeBytes(path, file);
  std::string error;
  const auto info = imageFileInfo(path, &error);
  ASSERT_TRUE(info) << error;
  EXPECT_EQ(info->width, 10) << "orientation 6";
  const ImageReadResult result = readImageFile(path);
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(result.bitmap.width(), 10);
  EXPECT_EQ(result.metadata.exif, exif);
}

TEST(TiffMetadata, IsAddedToEveryKindOfFile) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
    testing::writeTiff(path, Bitmap(layoutOf(2, 1, 8, 1, AlphaInfo::none), nullptr, Data({7, 9})),
                       {.mode = mode, .photometric = PHOTOMETRIC_MINISBLACK, .resolution = 1});
    ImageMetadata metadata{299.97, 72, ExifWriter(true).make(), iptcBlock(), text("<x/>")};
    const Data profile = ColorSpace::named("generic gray")->profile();
    const int descriptor = open(path.c_str(), O_RDWR);
    EXPECT_EQ(addTiffMetadata(descriptor, metadata, profile), "");
    close(descriptor);
    const ImageReadResult result = readImageFile(path);
    ASSERT_TRUE(result.ok()) << mode << ": " << result.error;
    EXPECT_EQ(testing::component(result.bitmap, 1, 0, 0), 9) << mode;
    EXPECT_EQ(result.bitmap.space()->profile(), profile) << mode;
    EXPECT_EQ(result.metadata.iptc, metadata.iptc) << mode;
    EXPECT_EQ(result.metadata.xmp, metadata.xmp) << mode;
    EXPECT_EQ(result.metadata.dpiX, 299.97) << mode;
    EXPECT_TRUE(contains(result.metadata.exif, text("Test Camera"))) << mode;
    EXPECT_TRUE(contains(result.metadata.exif, text("2024:05:06 07:08:09"))) << mode;
  }
}

TEST(TiffMetadata, PixelsStayUncompressedWhereTheyWere) {
  const TemporaryFolder folder;
  const Bitmap picture = gradient(200, 100, 3);
  const auto sizeOf = [&](const std::string& name, const ImageMetadata& metadata) {
    ImageWriteOptions options;
    options.metadata = metadata;
    EXPECT_FALSE(writeImageFile(folder.file(name), picture, options));
    return readBytes(folder.file(name)).size();
  };
  ImageMetadata plain;
  plain.uncompressed = true;
  EXPECT_LT(sizeOf("compressed.tif", {}), 30000u);
  EXPECT_GT(sizeOf("plain.tif", plain), 60000u);
  EXPECT_GT(sizeOf("again.tif", readImageFile(folder.file("plain.tif")).metadata), 60000u);
  EXPECT_LT(sizeOf("again.tif", readImageFile(folder.file("compressed.tif")).metadata), 30000u);
}

TEST(TiffMetadata, CaptionsWrittenAsNumbersLoseTheirPadding) {
  for (const bool swapped : {false, true}) {
    Bytes padded = iptcBlock();
    padded.resize((padded.size() + 3) / 4 * 4);
    for (size_t i = 0; swapped && i < padded.size(); i += 4) {
      std::reverse(padded.begin() + static_cast<long>(i), padded.begin() + static_cast<long>(i) + 4);
    }
    TiffDirectory directory;
    directory.values[33723] = {tiff_type::kLong, padded.size() / 4, padded, 0};
    EXPECT_EQ(readTiffMetadata(directory).iptc, iptcBlock()) << swapped;
  }
}

// A B C over D E F, as the Exif standard's eight orientations show it.
TEST(Orientation, IsAppliedToThePixels) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.tif");
  const Bitmap bitmap(layoutOf(3, 2, 8, 1, AlphaInfo::none), nullptr, Data::fromText("ABCDEF"));
  const char* const shown[] = {"ABCDEF", "CBAFED", "FEDCBA", "DEFABC",
                               "ADBECF", "DAEBFC", "FCEBDA", "CFBEAD"};
  for (uint8_t orientation = 1; orientation <= 8; ++orientation) {
    testing::writeTiff(path, bitmap, {.photometric = PHOTOMETRIC_MINISBLACK, .orientation = orientation});
    const ImageReadResult result = readImageFile(path);
    ASSERT_TRUE(result.ok()) << result.error;
    std::string seen;
    for (int64_t y = 0; y < result.bitmap.height(); ++y) {
      seen.append(reinterpret_cast<const char*>(result.bitmap.row(y)),
                  static_cast<size_t>(result.bitmap.width()));
    }
    EXPECT_EQ(seen, shown[orientation - 1]) << int{orientation};
    EXPECT_EQ(result.bitmap.width(), orientation < 5 ? 3 : 2);
    EXPECT_EQ(result.info.width, result.bitmap.width());
    EXPECT_EQ(imageFileInfo(path, nullptr)->width, result.bitmap.width());
  }
}

TEST(Orientation, OfExifTurnsAJPEG) {
  const TemporaryFolder folder;
  const std::string path = folder.file("a.jpg");
  ImageWriteOptions options{.format = ImageFormat::jpeg};
  options.metadata.exif = ExifWriter(false).make();
  ASSERT_EQ(writeImageFile(path, gradient(40, 24), options), std::nullopt);
  Bytes file = readBytes(path);
  const Bytes upright{0x12, 1, 3, 0, 1, 0, 0, 0, 1, 0};
  const auto at = std::search(file.begin(), file.end(), upright.begin(), upright.end());
  ASSERT_NE(at, file.end());
  at[8] = 6;
  writeBytes(path, file);
  const ImageReadResult result = readImageFile(path);
  ASSERT_EQ(result.bitmap.width(), 24);
  // The stored lower left corner is shown at the upper left.
  EXPECT_NEAR(testing::component(result.bitmap, 0, 0, 0), testing::component(gradient(40, 24), 0, 23, 0), 4);
  EXPECT_NEAR(testing::component(result.bitmap, 23, 39, 0), testing::component(gradient(40, 24), 39, 0, 0),
              4);
}

}  // namespace
}  // namespace vello
