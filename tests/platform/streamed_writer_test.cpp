#include "platform/streamed_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/test_images.h"

namespace vello {
namespace {

using ::testing::HasSubstr;
using testing::layoutOf;
using testing::readBytes;
using testing::TemporaryFolder;

struct Form {
  const char* name;
  ImageFormat format;
  int bits, components;
  AlphaInfo alpha;
};

const Form kForms[] = {
    {"TiffRGB8", ImageFormat::tiff, 8, 3, AlphaInfo::none},
    {"TiffPremultiplied16", ImageFormat::tiff, 16, 4, AlphaInfo::premultipliedLast},
    {"TiffSkipped8", ImageFormat::tiff, 8, 4, AlphaInfo::noneSkipFirst},
    {"PngStraight16", ImageFormat::png, 16, 4, AlphaInfo::last},
    {"PngGray8", ImageFormat::png, 8, 1, AlphaInfo::none},
    {"JpegRGB", ImageFormat::jpeg, 8, 3, AlphaInfo::none},
};

class EveryWriter : public ::testing::TestWithParam<Form> {
 protected:
  EveryWriter() {
    const Form& form = GetParam();
    PixelLayout layout = layoutOf(301, 151, form.bits, form.components, form.alpha);
    layout.bytesPerRow += 5;
    bitmap_ = testing::noise(layout, ColorSpace::named(form.components == 1 ? "generic gray" : "Display P3"));
    options_.format = form.format;
    options_.metadata.dpiX = options_.metadata.dpiY = 300;
    options_.metadata.xmp.assign(70000, ' ');  // too long for JPEG
  }
  std::unique_ptr<StreamedPictureWriter> writer() const {
    return std::make_unique<StreamedPictureWriter>(path_, bitmap_.layout(), bitmap_.space(), options_);
  }
  // From a copy of the rows at another stride.
  std::string write(StreamedPictureWriter& to, int64_t begin, int64_t end) const {
    const auto row = static_cast<size_t>(bitmap_.layout().bytesPerRow - 5);
    std::vector<uint8_t> bytes;
    for (int64_t y = begin; y < end; ++y) bytes.insert(bytes.end(), bitmap_.row(y), bitmap_.row(y) + row);
    return to.write(begin, end - begin, bytes.data(), static_cast<int64_t>(row));
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_.file("a");
  Bitmap bitmap_;
  ImageWriteOptions options_;
};

TEST_P(EveryWriter, RowsInUnevenStepsMakeTheFileOfTheWholePicture) {
  std::vector<std::string> warnings;
  ASSERT_EQ(writeImageFile(folder_.file("whole"), bitmap_, options_, &warnings), std::nullopt);
  const auto streamed = writer();
  int64_t begin = 0;
  for (const int64_t end : {1, 8, 8, 100, 151}) {
    ASSERT_EQ(write(*streamed, begin, end), "");
    begin = end;
  }
  EXPECT_FALSE(std::filesystem::exists(path_)) << "before it is whole";
  ASSERT_EQ(streamed->finish(), "");
  EXPECT_EQ(readBytes(path_), readBytes(folder_.file("whole")));
  EXPECT_EQ(streamed->finish(), "") << "twice is once";
  EXPECT_EQ(streamed->warnings(), warnings);
  EXPECT_EQ(warnings.size(), GetParam().format == ImageFormat::jpeg ? 1u : 0u);
}

TEST_P(EveryWriter, UnfinishedItLeavesTheOldFile) {
  testing::writeBytes(path_, {1, 2, 3});
  struct Case {
    const char* name;
    int64_t begin, end;
    bool finish;
    const char* error;
  };
  const Case cases[] = {
      {"nothing written", 0, 0, false, ""},       {"broken off", 0, 150, false, ""},
      {"a row is missing", 0, 150, true, "rows"}, {"begins later", 1, 20, false, "order"},
      {"too many rows", 0, 152, false, "order"},
  };
  for (const Case& row : cases) {
    auto streamed = writer();
    // The rows that there are too many of are not looked at.
    streamed->write(row.begin, row.end - row.begin, bitmap_.row(0), bitmap_.layout().bytesPerRow);
    if (row.finish) streamed->finish();
    if (*row.error == 0) {
      EXPECT_EQ(streamed->error(), "") << row.name;
    } else {
      EXPECT_THAT(streamed->error(), ::testing::AllOf(::testing::StartsWith(path_), HasSubstr(row.error)));
      EXPECT_EQ(streamed->finish(), streamed->error()) << row.name;
    }
    streamed = nullptr;
    EXPECT_EQ(readBytes(path_), (std::vector<uint8_t>{1, 2, 3})) << row.name;
    EXPECT_EQ(folder_.fileCount(), 1u) << row.name;
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, EveryWriter, ::testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(StreamedWriter, AShortTiffIsAClassicOneAndNoPlaceForItIsToldWithTheName) {
  const TemporaryFolder folder;
  ASSERT_EQ(writeImageFile(folder.file("a"), testing::gradient(9, 9), {.format = ImageFormat::tiff}),
            std::nullopt);
  EXPECT_EQ(readBytes(folder.file("a"))[2], 42);
  StreamedPictureWriter writer(folder.file("no/such.tif"), layoutOf(4, 4, 8, 3, AlphaInfo::none),
                               ColorSpace::sRGB(), {.format = ImageFormat::tiff});
  EXPECT_THAT(writer.error(), HasSubstr("no/such.tif"));
  EXPECT_EQ(writer.finish(), writer.error());
}

}  // namespace
}  // namespace vello
