#include "source/parameters/KPImageParameterController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/image_file.h"
#include "platform/log.h"
#include "source/geometry/rect_text.h"
#include "source/parameters/chain_pictures.h"
#include "source/parameters/default_pictures.h"
#include "tests/source/parameters/controller_fixture.h"
#include "tests/source/screen/scripted_screen.h"

namespace vello {
namespace {

namespace fs = std::filesystem;

Bitmap plainBitmap(int64_t width, int64_t height) {
  PixelLayout layout;
  layout.width = width;
  layout.height = height;
  layout.bytesPerRow = width * 4;
  layout.alpha = AlphaInfo::last;
  return Bitmap(layout, nullptr, Data(std::vector<uint8_t>(static_cast<size_t>(width * height * 4), 0x80)));
}

// A folder of its own, and what was logged meanwhile.
class KPImageParameterControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "vello-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(name.data()));
    folder_ = name;
    formerSink_ = setLogSink([this](const std::string& line) { log_.push_back(line); });
  }
  void TearDown() override {
    setLogSink(formerSink_);
    fs::remove_all(folder_);
  }
  std::string picture(const char* name, int64_t width, int64_t height) {
    const std::string path = folder_ / name;
    ImageWriteOptions options;
    options.format = ImageFormat::png;
    EXPECT_EQ(writeImageFile(path, plainBitmap(width, height), options), std::nullopt);
    return path;
  }

  fs::path folder_;
  std::vector<std::string> log_;
  LogSink formerSink_;
};

std::unique_ptr<KPImageParameterController> maskController(const std::shared_ptr<CIFilter>& filter) {
  return KPImageParameterController::controllerForFilter(filter, "inputMaskImage");
}

void expectNear(const CGRect& actual, const CGRect& expected, const std::string& name) {
  const std::string text = name + ": " + NSStringFromRect(actual) + " for " + NSStringFromRect(expected);
  EXPECT_NEAR(actual.origin.x, expected.origin.x, 1e-3) << text;
  EXPECT_NEAR(actual.origin.y, expected.origin.y, 1e-3) << text;
  EXPECT_NEAR(actual.size.width, expected.size.width, 1e-3) << text;
  EXPECT_NEAR(actual.size.height, expected.size.height, 1e-3) << text;
}

PropertyListDictionary entry(PropertyList value) {
  PropertyListDictionary dict;
  dict.set("inputMaskImage", std::move(value));
  return dict;
}

PropertyListDictionary placed(const std::string& path, const char* bounds, const char* source) {
  PropertyListDictionary values;
  values.set("path", path);
  values.set("bounds", bounds);
  values.set("source", source);
  return entry(std::move(values));
}

TEST_F(KPImageParameterControllerTest, FitsAndCentresTheImage) {
  struct Row {
    const char* name;
    CGRect bounds;
    CGSize size;
    CGRect expected;
  };
  const Row rows[] = {
      {"wider", rect(0, 0, 600, 600), {2000, 1000}, rect(0, 150, 600, 300)},
      {"higher", rect(0, 0, 600, 600), {300, 1200}, rect(225, 0, 150, 600)},
      {"smaller", rect(0, 0, 600, 600), {100, 50}, rect(250, 275, 100, 50)},
      {"origin off zero", rect(-100, 50, 200, 100), {400, 400}, rect(-50, 50, 100, 100)},
  };
  for (const Row& row : rows) {
    const Canvas canvas(row.bounds);
    const auto filter = controlFilter();
    const auto controller = maskController(filter);
    controller->setImageParameterWithImage(CIImage::imageWithBitmap(
        plainBitmap(static_cast<int64_t>(row.size.width), static_cast<int64_t>(row.size.height))));
    expectNear(filter->valueForKey("inputMaskImage").image()->extent(), row.expected, row.name);
    controller->setRectValue(rect(1, 2, 3, 4));
    expectNear(controller->rectValue(), rect(1, 2, 3, 4), row.name);
    controller->setRectValue(rect(1, 2, 0, 4));
    expectNear(controller->rectValue(), rect(1, 2, 3, 4), "an empty rectangle is ignored");
  }
}

KPRectParameterView& frameOf(const KPImageParameterController& controller) {
  return dynamic_cast<KPRectParameterView&>(*controller.geometryParameterView());
}

TEST_F(KPImageParameterControllerTest, TheFrameOnTheCanvasMovesAndResizesInsideTheImage) {
  struct Row {
    const char* name;
    CGRect from, to, expected;
  };
  const CGRect square = rect(100, 100, 200, 100);
  const Row rows[] = {
      {"moved", square, rect(120.5, 90.25, 200, 100), rect(120.5, 90.25, 200, 100)},
      {"moved out on the right", square, rect(500, 100, 200, 100), rect(400, 100, 200, 100)},
      {"moved out on the left", square, rect(-50, 100, 200, 100), rect(0, 100, 200, 100)},
      {"moved out above", square, rect(100, 550, 200, 100), rect(100, 500, 200, 100)},
      {"moved out below", square, rect(100, -1, 200, 100), rect(100, 0, 200, 100)},
      {"resized beyond the right edge", square, rect(100, 100, 700, 100), rect(100, 100, 500, 100)},
      {"resized beyond the left edge", square, rect(-50, 100, 350, 100), rect(0, 100, 300, 100)},
      {"resized beyond the lower edge", square, rect(100, -50, 200, 250), rect(100, 0, 200, 200)},
      {"resized beyond the upper edge", square, rect(100, 100, 200, 700), rect(100, 100, 200, 500)},
      {"moved across, resized along", square, rect(-10, 100, 200, 700), rect(0, 100, 200, 500)},
      {"no width", square, rect(100, 100, 0, 100), rect(100, 100, 1, 100)},
      {"no width at the right edge", square, rect(600, 100, 0, 100), rect(599, 100, 1, 100)},
      {"no height at the upper edge", square, rect(100, 600, 200, 0), rect(100, 599, 200, 1)},
      {"wholly beyond", square, rect(700, 100, 50, 100), square},
  };
  for (const Row& row : rows) {
    const Canvas canvas(rect(0, 0, 600, 600));
    const auto controller = maskController(controlFilter());
    controller->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(200, 100)));
    controller->setRectValue(row.from);
    Changes changes;
    frameOf(*controller).setDestinationRectValue(row.to);
    expectNear(controller->rectValue(), row.expected, row.name);
    EXPECT_LE(changes.take().size(), 1u) << row.name;
  }
}

TEST_F(KPImageParameterControllerTest, TheFrameFollowsTheImage) {
  const Canvas canvas(rect(0, 0, 600, 600));
  const auto controller = maskController(controlFilter());
  EXPECT_EQ(frameOf(*controller).title(), "Every Control Mask");
  EXPECT_EQ(frameOf(*controller).constrainingRect(), rect(0, 0, 600, 600));
  controller->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(100, 50)));
  EXPECT_EQ(frameOf(*controller).rectValue(), rect(250, 275, 100, 50));
  controller->removingFilter();
  frameOf(*controller).setDestinationRectValue(rect(0, 0, 10, 10));
  EXPECT_EQ(controller->rectValue(), rect(250, 275, 100, 50)) << "nothing is bound any more";
}

TEST_F(KPImageParameterControllerTest, ManyPlacementsLeaveTheNumbersOfOne) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const std::string path = picture("mask.png", 70, 30);
  const auto filter = controlFilter();
  const auto controller = maskController(filter), once = maskController(controlFilter());
  for (const auto& each : {controller.get(), once.get()}) ASSERT_TRUE(each->setImageParameterWithPath(path));
  for (int i = 1; i <= 1000; ++i)
    frameOf(*controller).setDestinationRectValue(rect(0.01 * i, 1, 5 + 0.137 * i, 3 + 0.0517 * i));
  once->setRectValue(rect(10, 1, 142, 54.7));
  frameOf(*controller).setDestinationRectValue(rect(10, 1, 142, 54.7));
  expectNear(controller->rectValue(), once->rectValue(), "no drift");

  PropertyListDictionary dict, again;
  controller->addValueToDict(dict, rect(0, 0, 200, 100));
  const auto restoredFilter = controlFilter();
  const auto restored = maskController(restoredFilter);
  restored->setValueFromDict(dict, rect(0, 0, 200, 100));
  restored->addValueToDict(again, rect(0, 0, 200, 100));
  EXPECT_EQ(PropertyList(again), PropertyList(dict)) << "the same bits";
  EXPECT_EQ(restored->rectValue(), controller->rectValue());

  // An image that another hand gave the filter is moved as well.
  filter->setValueForKey(CIImage::imageWithBitmap(plainBitmap(9, 9)), "inputMaskImage");
  EXPECT_EQ(frameOf(*controller).rectValue(), rect(0, 0, 9, 9));
  frameOf(*controller).setDestinationRectValue(rect(20, 20, 9, 9));
  EXPECT_EQ(controller->rectValue(), rect(20, 20, 9, 9));
}

TEST_F(KPImageParameterControllerTest, AnImageIsChosenOrDropped) {
  const Canvas canvas(rect(0, 0, 600, 600));
  ScriptedScreen screen;
  const std::string a = picture("a.png", 20, 10), b = picture("b.png", 40, 10);
  const auto filter = controlFilter();
  const auto controller = maskController(filter);
  const std::string initial = controller->sourceImageFilename();
  EXPECT_EQ(controller->label().text(), "Mask");
  controller->chooseButton().userPressed();
  EXPECT_EQ(screen.openPanels, 1);
  EXPECT_EQ(controller->sourceImageFilename(), initial) << "cancelled";
  screen.openPanelAnswers = {a, folder_ / "none.png"};
  controller->chooseButton().userPressed();
  EXPECT_EQ(controller->sourceImageFilename(), a);
  EXPECT_EQ(controller->rectValue(), rect(290, 295, 20, 10));
  EXPECT_EQ(controller->imageView().image().extent(), rect(0, 0, 20, 10)) << "the well shows it unplaced";
  controller->chooseButton().userPressed();
  EXPECT_EQ(controller->sourceImageFilename(), a) << "a file that is not there";

  controller->imageView().userDroppedFiles({b, a});
  EXPECT_EQ(controller->sourceImageFilename(), b);
  EXPECT_EQ(controller->rectValue(), rect(280, 295, 40, 10));
  controller->imageView().userDroppedImage(CIImage::imageWithBitmap(plainBitmap(8, 6)));
  EXPECT_EQ(controller->sourceImageFilename(), "");
  EXPECT_EQ(controller->rectValue(), rect(296, 297, 8, 6));
}

TEST_F(KPImageParameterControllerTest, AnImageDraggedOutIsATIFF) {
  const Canvas canvas(rect(0, 0, 600, 600));
  const auto controller = maskController(controlFilter());
  controller->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(12, 8)));
  const KPImageSourcePromise promise = controller->sourceImagePromise();
  EXPECT_EQ(promise.provideDataForType("NSStringPboardType"), std::nullopt);
  const auto tiff = promise.provideDataForType(NSTIFFPboardType);
  ASSERT_TRUE(tiff.has_value());
  const ImageReadResult read = readImage(tiff->span(), "dragged");
  ASSERT_EQ(read.error, "");
  EXPECT_EQ(read.info.format, ImageFormat::tiff);
  EXPECT_EQ(read.bitmap.width(), 12);
  EXPECT_EQ(read.bitmap.height(), 8);
  EXPECT_EQ(read.bitmap.row(0)[0], 0x80);
  EXPECT_EQ(read.bitmap.row(7)[47], 0x80) << "alpha";
  EXPECT_TRUE(log_.empty());
  EXPECT_EQ(KPImageSourcePromise::promiseWithCIImage({}).provideDataForType(NSTIFFPboardType), std::nullopt);
  EXPECT_EQ(log_.size(), 1u);
}

TEST_F(KPImageParameterControllerTest, WithoutAScreenNothingIsChosen) {
  const Canvas canvas(rect(0, 0, 600, 600));
  const auto controller = maskController(controlFilter());
  const std::string initial = controller->sourceImageFilename();
  controller->chooseButton().userPressed();
  EXPECT_EQ(controller->sourceImageFilename(), initial);
}

TEST_F(KPImageParameterControllerTest, HostileImagesAndPlacesAreRefusedWithALogLine) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Canvas canvas(rect(0, 0, 200, 100));
  const std::string good = picture("good.png", 50, 50);
  const auto filter = controlFilter();
  const auto controller = maskController(filter);
  ASSERT_TRUE(controller->setImageParameterWithPath(good));
  const Value former = filter->valueForKey("inputMaskImage");
  Changes changes;
  const CIImage unbounded = CIImage::imageWithBitmap(plainBitmap(3, 3)).imageByClampingToExtent();
  const std::function<void()> attempts[] = {
      [&] { controller->imageView().userDroppedImage(unbounded); },
      [&] { controller->imageView().userDroppedImage(CIImage::emptyImage()); },
      [&] { controller->setRectValue(rect(NAN, 0, 10, 10)); },
      [&] { controller->setRectValue(rect(0, 0, kInfinity, 10)); },
      [&] { frameOf(*controller).setDestinationRectValue(rect(0, NAN, 10, 10)); },
  };
  for (size_t i = 0; i < std::size(attempts); ++i) {
    attempts[i]();
    EXPECT_EQ(log_.size(), i + 1);
    EXPECT_EQ(filter->valueForKey("inputMaskImage"), former) << i;
    EXPECT_EQ(controller->sourceImageFilename(), good) << i;
    EXPECT_EQ(controller->imageView().image().extent(), rect(0, 0, 50, 50)) << i;
  }
  EXPECT_TRUE(changes.take().empty());

  // Of one pixel, over one pixel.
  const Canvas tiny(rect(0, 0, 1, 1));
  const auto small = maskController(controlFilter());
  small->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(1, 1)));
  EXPECT_EQ(small->rectValue(), rect(0, 0, 1, 1));
  small->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(400, 2)));
  expectNear(small->rectValue(), rect(0, 0.4975, 1, 0.005), "fitted into one pixel");
}

uint32_t checksum(std::string_view bytes) {
  uint32_t crc = ~0u;
  for (const char byte : bytes) {
    crc ^= static_cast<uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return ~crc;
}

std::string bigEndian(uint32_t value) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(value >> shift);
  return bytes;
}

// A picture of 30,000 x 30,000 pixels by its header, which is in order.
TEST_F(KPImageParameterControllerTest, AHugeHeaderWithoutPixelsIsRefused) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const std::string good = picture("good.png", 50, 50);
  std::ifstream in(good, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), {});
  bytes.replace(16, 8, bigEndian(30000) + bigEndian(30000));
  bytes.replace(29, 4, bigEndian(checksum(std::string_view(bytes).substr(12, 17))));
  const std::string huge = folder_ / "huge.png";
  std::ofstream(huge, std::ios::binary) << bytes;
  const auto controller = maskController(controlFilter());
  ASSERT_TRUE(controller->setImageParameterWithPath(good));
  controller->imageView().userDroppedFiles({huge});
  EXPECT_EQ(controller->sourceImageFilename(), good);
  ASSERT_EQ(log_.size(), 1u);
  EXPECT_THAT(log_.front(), ::testing::HasSubstr("huge.png"));
}

TEST_F(KPImageParameterControllerTest, ResetFitsAgain) {
  const Canvas canvas(rect(0, 0, 100, 100));
  const auto controller = maskController(controlFilter());
  controller->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(400, 200)));
  controller->setRectValue(rect(500, 500, 200, 100));
  controller->reset();
  expectNear(controller->rectValue(), rect(0, 25, 100, 50), "reset");
}

TEST_F(KPImageParameterControllerTest, ATextureHasNoPlace) {
  const Canvas canvas(rect(0, 0, 10, 10));
  const auto filter = controlFilter();
  const auto texture = KPImageParameterController::controllerForFilter(filter, "inputTexture");
  EXPECT_TRUE(canvas.controls.empty());
  texture->setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(40, 20)));
  EXPECT_EQ(texture->rectValue(), rect(0, 0, 40, 20));
  texture->reset();
  EXPECT_EQ(texture->rectValue(), rect(0, 0, 40, 20));
  const auto mask = maskController(filter);
  EXPECT_EQ(canvas.controls.size(), 1u);
  mask->removingFilter();
  EXPECT_TRUE(canvas.controls.empty());
}

TEST_F(KPImageParameterControllerTest, StartsWithItsDefaultPicture) {
  struct Row {
    const char* filter;
    const char* key;
    const char* file;
  };
  const Row rows[] = {
      {"CIBlendWithMask", "inputMaskImage", "Default_Mask.tif"},
      {"CIGlassDistortion", "inputDisplacementImage", "Default_Mask.tif"},
      {"CIColorMap", "inputGradientImage", "Default_Colormap.tif"},
      {"CIGlassDistortion", "inputTexture", "Default_Texture.tif"},
      {"CIShadedMaterial", "inputShadingImage", "Default_Material.tif"},
      {"CIPageCurlTransition", "inputShadingImage", "Default_Shading.tif"},
      {"CISourceOverCompositing", "inputImage", "Placeholder.tif"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(fs::path(defaultPicturePath(row.filter, row.key)).filename(), row.file) << row.key;

  const Canvas canvas(rect(0, 0, 100, 100));
  const auto filter = controlFilter(), other = controlFilter();
  const auto first = maskController(filter), second = maskController(other);
  const std::string path = defaultPicturePath("any", "inputMaskImage");
  EXPECT_EQ(first->sourceImageFilename(), path);
  EXPECT_LE(first->rectValue().size.width, 100.001);
  EXPECT_EQ(filter->valueForKey("inputMaskImage"), other->valueForKey("inputMaskImage")) << "decoded once";
  EXPECT_EQ(defaultPictureAtPath(path + "/../Default_Mask.tif"), std::nullopt);
}

TEST_F(KPImageParameterControllerTest, PlacementReturnsOnAnImageOfTheSameSizeOnly) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const std::string path = picture("mask.png", 50, 50);
  const auto controller = maskController(controlFilter());
  ASSERT_TRUE(controller->setImageParameterWithPath(path));
  controller->setRectValue(rect(10, 20, 25, 12.5));
  PropertyListDictionary dict;
  controller->addValueToDict(dict, rect(0, 0, 200, 100));
  EXPECT_EQ(PropertyList(dict), PropertyList(placed(path, "{{10, 20}, {25, 12.5}}", "{{0, 0}, {200, 100}}")));

  const auto same = maskController(controlFilter()), other = maskController(controlFilter());
  same->setValueFromDict(dict, rect(0, 0, 200, 100));
  EXPECT_EQ(same->rectValue(), rect(10, 20, 25, 12.5));
  other->setValueFromDict(dict, rect(0, 0, 200, 101));
  EXPECT_EQ(other->rectValue(), rect(75, 25, 50, 50)) << "fitted anew";
  EXPECT_EQ(other->sourceImageFilename(), path);
}

TEST_F(KPImageParameterControllerTest, AnImageFromNoFileIsWrittenEmpty) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const auto filter = controlFilter();
  KPImageParameterController dropped(filter, "inputMaskImage");
  dropped.setImageParameterWithImage(CIImage::imageWithBitmap(plainBitmap(5, 5)));
  PropertyListDictionary dict;
  dropped.addValueToDict(dict, rect(0, 0, 200, 100));
  EXPECT_EQ(PropertyList(dict), PropertyList(entry(PropertyListDictionary())));
}

TEST_F(KPImageParameterControllerTest, WhatCannotBeReadLeavesTheImage) {
  const Canvas canvas(rect(0, 0, 200, 100));
  const std::string good = picture("good.png", 50, 50), broken = folder_ / "broken.png";
  std::ofstream(broken) << "no picture";
  PropertyListDictionary noText;
  noText.set("path", 5);
  struct Row {
    const char* name;
    PropertyListDictionary dict;
  };
  const Row rows[] = {
      {"missing entry", {}},
      {"not a dictionary", entry("text")},
      {"no path", entry(PropertyListDictionary())},
      {"path is a number", entry(noText)},
      {"no such file", placed(folder_ / "none.png", "{{0, 0}, {9, 9}}", "{{0, 0}, {200, 100}}")},
      {"not a picture", placed(broken, "{{0, 0}, {9, 9}}", "{{0, 0}, {200, 100}}")},
      {"a folder", placed(folder_, "{{0, 0}, {9, 9}}", "{{0, 0}, {200, 100}}")},
      {"a device", placed("/dev/zero", "{{0, 0}, {9, 9}}", "{{0, 0}, {200, 100}}")},
  };
  for (const Row& row : rows) {
    const auto controller = maskController(controlFilter());
    ASSERT_TRUE(controller->setImageParameterWithPath(good));
    controller->setValueFromDict(row.dict, rect(0, 0, 200, 100));
    EXPECT_EQ(controller->sourceImageFilename(), good) << row.name;
    EXPECT_EQ(controller->rectValue(), rect(75, 25, 50, 50)) << row.name;
  }
  EXPECT_EQ(log_.size(), 4u) << "one line for each file";
}

TEST_F(KPImageParameterControllerTest, AChainReadsEachFileOnceAndWithinItsLimits) {
  const std::string a = picture("a.png", 10, 10), b = picture("b.png", 10, 10), c = picture("c.png", 20, 10);
  {
    ChainPictures chain(2, 1000);
    const CIImage first = pictureAtPath(a);
    EXPECT_EQ(first.sourceBitmap()->serial(), pictureAtPath(a).sourceBitmap()->serial());
    EXPECT_FALSE(pictureAtPath(b).isNil());
    EXPECT_TRUE(pictureAtPath(c).isNil()) << "a third file";
    EXPECT_FALSE(pictureAtPath(a).isNil()) << "still there";
    EXPECT_FALSE(pictureAtPath(defaultPicturePath("any", "inputMaskImage")).isNil()) << "ours do not count";
  }
  {
    ChainPictures chain(64, 250);
    EXPECT_FALSE(pictureAtPath(a).isNil());
    EXPECT_TRUE(pictureAtPath(c).isNil()) << "200 pixels where 150 are left";
    EXPECT_FALSE(pictureAtPath(b).isNil());
  }
  EXPECT_EQ(ChainPictures::current(), nullptr);
  EXPECT_FALSE(pictureAtPath(c).isNil()) << "alone there is no limit";
  EXPECT_THAT(log_, ::testing::Each(::testing::HasSubstr("c.png")));
}

}  // namespace
}  // namespace vello
