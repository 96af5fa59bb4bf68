// vello filter: values as they are typed, and the rectangle, depth, space and alpha of the result.
#include <gmock/gmock.h>

#include "engine/catalogue/filter.h"
#include "engine/render/context.h"
#include "tests/hosts/pictures.h"
#include "tests/hosts/program.h"

namespace vello::test {
namespace {

using ::testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

constexpr const char* kColor = "CIConstantColorGenerator";

TEST(FilterCommand, ColorsAsTheyAreTyped) {
  const Folder folder;
  const struct {
    const char* typed;
    Bytes pixel;
  } rows[] = {
      {"#336699", {0x33, 0x66, 0x99}},        {"#336699cC", {0x33, 0x66, 0x99, 0xCC}},
      {"0.2,0.4,0.6", {0x33, 0x66, 0x99}},    {"1,0,1,0.2", {255, 0, 255, 51}},
      {" 1 , 5e-1 , .5, 1", {255, 128, 128}}, {"#00000000", {0, 0, 0, 0}},
  };
  for (const auto& row : rows) {
    const Ended ended = vello({"filter", kColor, "-p", std::string("inputColor=") + row.typed, "--extent",
                               "-7,-9.5,1,1", "-o", folder / "o.png"});
    ASSERT_EQ(ended.status, 0) << row.typed << ended.errors;
    EXPECT_EQ(pixels(readPicture(folder / "o.png").bitmap), row.pixel) << row.typed;
  }
  for (const char* wrong : {"#33669", "#33669g", "1,2", "1,2,3,4,5", "red", "", "1,,2", "#"})
    EXPECT_EQ(vello({"filter", kColor, "-p", std::string("inputColor=") + wrong, "--extent", "0,0,1,1", "-o",
                     folder / "wrong.png"})
                  .status,
              2)
        << wrong;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"o.png"});
}

// What the engine gives for the same values.
Bytes rendered(const CIFilter& filter, const CGRect& rect) {
  PixelLayout layout = layoutOf({static_cast<int64_t>(rect.size.width),
                                 static_cast<int64_t>(rect.size.height), 8, 4, ColorSpace::sRGB()});
  Bytes bytes(static_cast<size_t>(layout.bytesPerRow * layout.height));
  EXPECT_EQ(CIContext().render({filter.outputImage(), rect, 1, {}}, layout, ColorSpace::sRGB(), bytes.data()),
            "");
  return bytes;
}

TEST(FilterCommand, ValuesReachTheFilter) {
  const Folder folder;
  const Bitmap source = noise({24, 16, 8, 4, ColorSpace::sRGB()});
  writePicture(folder / "a.png", source);
  const CIImage image = CIImage::imageWithBitmap(source);
  const struct {
    const char *filter, *key, *typed;
    Value value;
  } rows[] = {
      {"CIExposureAdjust", "inputEV", "-1.25", -1.25},
      {"CIExposureAdjust", "inputEV", "5e-1", 0.5},
      {"CIAffineTransform", "inputTransform", "0.5,0.25,-0.5,1,3,-2",
       CGAffineTransform{0.5, 0.25, -0.5, 1, 3, -2}},
      {"CICrop", "inputRectangle", "3,4,10,6.5", CIVector{3, 4, 10, 6.5}},
      {"CITwirlDistortion", "inputCenter", "12,8", CIVector{12, 8}},
      {"CIWhitePointAdjust", "inputColor", "#ff8040", CIColor(1, 128 / 255.0, 64 / 255.0)},
  };
  for (const auto& row : rows) {
    const auto filter = CIFilter::filterWithName(row.filter);
    ASSERT_TRUE(filter) << row.filter;
    filter->setDefaults();
    filter->setValueForKey(image, kCIInputImageKey);
    filter->setValueForKey(row.value, row.key);
    const Ended ended = vello({"filter", row.filter, folder / "a.png", "-p",
                               std::string(row.key) + "=" + row.typed, "-o", folder / "o.png"});
    ASSERT_EQ(ended.status, 0) << row.filter << ended.errors;
    EXPECT_EQ(pixels(readPicture(folder / "o.png").bitmap), rendered(*filter, {{0, 0}, {24, 16}}))
        << row.filter;
  }
}

TEST(FilterCommand, ExtentIsInImageSpaceWithYUpwards) {
  const Folder folder;
  const Bitmap source = noise({4, 3, 8, 3, ColorSpace::sRGB()});
  writePicture(folder / "a.png", source);
  const auto cut = [&](const char* extent) {
    EXPECT_EQ(
        vello({"filter", "CIExposureAdjust", folder / "a.png", "--extent", extent, "-o", folder / "o.png"})
            .status,
        0);
    return readPicture(folder / "o.png").bitmap;
  };
  // The lower left pixel is the first of the last row.
  EXPECT_EQ(pixels(cut("0,0,1,1")), Bytes(source.row(2), source.row(2) + 3));
  EXPECT_EQ(pixels(cut("3,2,1,1")), Bytes(source.row(0) + 9, source.row(0) + 12));
  EXPECT_EQ(cut("-1,-1,6,5").layout().componentsPerPixel, 4);  // the border is transparent
  const Bitmap fraction = cut("0,0,2.5,1.25");
  EXPECT_EQ(fraction.width(), 3);
  EXPECT_EQ(fraction.height(), 2);
}

TEST(FilterCommand, DepthFollowsTheInputUnlessAskedFor) {
  const Folder folder;
  writePicture(folder / "a.tif", noise({5, 4, 16, 3, ColorSpace::sRGB()}));
  const struct {
    const char *output, *depth;
    int bits;
  } rows[] = {{"o.tif", "", 16}, {"o.png", "", 16}, {"o.jpg", "", 8}, {"o.png", "8", 8}, {"o.tif", "16", 16}};
  for (const auto& row : rows) {
    std::vector<std::string> arguments{"filter", "CIExposureAdjust", folder / "a.tif", "-o",
                                       folder / row.output};
    if (*row.depth) arguments.insert(arguments.end(), {"--depth", row.depth});
    ASSERT_EQ(vello(arguments).status, 0) << row.output;
    EXPECT_EQ(readPicture(folder / row.output).info.bitsPerComponent, row.bits) << row.output << row.depth;
  }
}

TEST(FilterCommand, ColorSpaceIsTheInputsWhenItIsRGB) {
  const Folder folder;
  writePicture(folder / "p3.png", noise({5, 4, 8, 3, ColorSpace::named("Display P3")}));
  writePicture(folder / "gray.png", noise({5, 4, 8, 1, ColorSpace::named("generic gray")}));
  for (const char* name : {"p3.png", "gray.png"}) {
    ASSERT_EQ(vello({"filter", "CIExposureAdjust", folder / name, "-o", folder / "o.png"}).status, 0);
    const Bitmap result = readPicture(folder / "o.png").bitmap;
    const bool kept = std::string(name) == "p3.png";
    EXPECT_EQ(result.layout().componentsPerPixel, 3) << name;
    const ColorSpacePtr expected = kept ? ColorSpace::named("Display P3") : ColorSpace::sRGB();
    for (size_t i = 0; i < 9; ++i)
      EXPECT_NEAR(result.space()->toSRGB()[i], expected->toSRGB()[i], 1e-3) << name;
    EXPECT_EQ(pixels(result) == pixels(readPicture(folder / name).bitmap), kept);
  }
}

TEST(FilterCommand, NumbersAreTakenAsSRGBUnlessColorsAreManaged) {
  const Folder folder;
  const auto same = [](ColorSpacePtr space) { return noise({5, 4, 8, 3, std::move(space)}); };
  writePicture(folder / "p3.png", same(ColorSpace::named("Display P3")));
  writePicture(folder / "srgb.png", same(ColorSpace::sRGB()));
  const auto sepia = [&](const char* input, const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"filter", "CISepiaTone", folder / input, "-o", folder / "o.png"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(vello(arguments).status, 0);
    return pixels(readPicture(folder / "o.png").bitmap);
  };
  EXPECT_EQ(sepia("p3.png", {}), sepia("srgb.png", {}));
  EXPECT_EQ(sepia("srgb.png", {"--manage-colors"}), sepia("srgb.png", {}));
  EXPECT_NE(sepia("p3.png", {"--manage-colors"}), sepia("p3.png", {}));
}

TEST(FilterCommand, JpegLiesOnWhite) {
  const Folder folder;
  ASSERT_EQ(
      vello({"filter", kColor, "-p", "inputColor=#ff000000", "--extent", "0,0,16,16", "-o", folder / "o.jpg"})
          .status,
      0);
  EXPECT_EQ(pixels(readPicture(folder / "o.jpg").bitmap), Bytes(16 * 16 * 3, 255));
}

TEST(FilterCommand, FullDiskLeavesNothing) {
  const Folder folder;
  writePicture(folder / "a.png", noise({200, 100, 8, 3, ColorSpace::sRGB()}));
  RunOptions options;
  options.largestFile = 5000;
  for (const char* output : {"o.png", "o.tif", "o.jpg"}) {
    const Ended ended =
        vello({"filter", "CIExposureAdjust", folder / "a.png", "-o", folder / output}, options);
    EXPECT_EQ(ended.status, 1) << output;
    EXPECT_THAT(ended.errors, HasSubstr(output));
  }
  EXPECT_EQ(folder.names(), std::vector<std::string>{"a.png"});
}

}  // namespace
}  // namespace vello::test
