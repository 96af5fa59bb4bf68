#include "source/parameters/KPImageParameterController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>

#include "source/geometry/rect_text.h"
#include "source/parameters/chain_pictures.h"
#include "source/parameters/default_pictures.h"
#include "tests/source/core/session_support.h"
#include "tests/source/parameters/controller_fixture.h"
#include "tests/source/screen/scripted_screen.h"

namespace vello::test {
namespace {

namespace fs = std::filesystem;

Bitmap plainBitmap(int64_t width, int64_t height) {
  return Bitmap(layoutOf(width, height, 4, AlphaInfo::last), nullptr,
                Data(std::vector<uint8_t>(static_cast<size_t>(width * height * 4), 0x80)));
}

CIImage plain(int64_t width, int64_t height) { return CIImage::imageWithBitmap(plainBitmap(width, height)); }

// The path of a new file.
std::string file(const char* name, int64_t width, int64_t height) {
  const std::string path = kOwnPreferences.folder() + "/" + name;
  EXPECT_EQ(writePNG(path, plainBitmap(width, height)), "");
  return path;
}

// A controller of a filter's own, on a picture that the canvas tells of.
struct Mask {
  explicit Mask(const CGRect& bounds = rect(0, 0, 200, 100)) : canvas(bounds) {}
  KPImageParameterController* operator->() const { return controller.get(); }
  KPRectParameterView& frame() const {
    return dynamic_cast<KPRectParameterView&>(*controller->geometryParameterView());
  }
  PropertyListDictionary written(const CGRect& imageRect = rect(0, 0, 200, 100)) const {
    PropertyListDictionary dict;
    controller->addValueToDict(dict, imageRect);
    return dict;
  }

  Canvas canvas;
  std::shared_ptr<CIFilter> filter = controlFilter();
  std::unique_ptr<KPImageParameterController> controller =
      KPImageParameterController::controllerForFilter(filter, "inputMaskImage");
};
const CGRect kSquare = rect(0, 0, 600, 600);

void expectNear(const CGRect& actual, const CGRect& expected, const std::string& name) {
  const std::string text = name + ": " + NSStringFromRect(actual) + " for " + NSStringFromRect(expected);
  EXPECT_NEAR(actual.origin.x, expected.origin.x, 1e-3) << text;
  EXPECT_NEAR(actual.origin.y, expected.origin.y, 1e-3) << text;
  EXPECT_NEAR(actual.size.width, expected.size.width, 1e-3) << text;
  EXPECT_NEAR(actual.size.height, expected.size.height, 1e-3) << text;
}

PropertyListDictionary maskEntry(PropertyList value) {
  PropertyListDictionary dict;
  dict.set("inputMaskImage", std::move(value));
  return dict;
}

PropertyListDictionary placed(const std::string& path, const char* bounds, const char* source) {
  PropertyListDictionary values;
  values.set("path", path);
  values.set("bounds", bounds);
  values.set("source", source);
  return maskEntry(std::move(values));
}

TEST(KPImageParameterController, FitsAndCentresTheImage) {
  const struct {
    const char* name;
    CGRect bounds;
    CGSize size;
    CGRect expected;
  } rows[] = {
      {"wider", rect(0, 0, 600, 600), {2000, 1000}, rect(0, 150, 600, 300)},
      {"higher", rect(0, 0, 600, 600), {300, 1200}, rect(225, 0, 150, 600)},
      {"smaller", rect(0, 0, 600, 600), {100, 50}, rect(250, 275, 100, 50)},
      {"origin off zero", rect(-100, 50, 200, 100), {400, 400}, rect(-50, 50, 100, 100)},
  };
  for (const auto& row : rows) {
    const Mask mask(row.bounds);
    mask->setImageParameterWithImage(
        plain(static_cast<int64_t>(row.size.width), static_cast<int64_t>(row.size.height)));
    expectNear(mask.filter->valueForKey("inputMaskImage").image()->extent(), row.expected, row.name);
    mask->setRectValue(rect(1, 2, 3, 4));
    expectNear(mask->rectValue(), rect(1, 2, 3, 4), row.name);
    mask->setRectValue(rect(1, 2, 0, 4));
    expectNear(mask->rectValue(), rect(1, 2, 3, 4), "an empty rectangle is ignored");
    mask->setRectValue({{-99, 900}, row.size});
    mask->reset();
    expectNear(mask->rectValue(), row.expected, "reset fits again");
  }
}

TEST(KPImageParameterController, TheFrameOnTheCanvasMovesAndResizesInsideTheImage) {
  const CGRect square = rect(100, 100, 200, 100);
  const struct {
    const char* name;
    CGRect from, to, expected;
  } rows[] = {
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
  for (const auto& row : rows) {
    const Mask mask(kSquare);
    mask->setImageParameterWithImage(plain(200, 100));
    mask->setRectValue(row.from);
    Changes changes;
    mask.frame().setDestinationRectValue(row.to);
    expectNear(mask->rectValue(), row.expected, row.name);
    EXPECT_LE(changes.take().size(), 1u) << row.name;
  }
}

TEST(KPImageParameterController, TheFrameFollowsTheImageUntilTheFilterLeaves) {
  const Mask mask(kSquare);
  EXPECT_EQ(mask.canvas.controls.size(), 1u);
  EXPECT_EQ(mask.frame().title(), "Every Control Mask");
  EXPECT_EQ(mask.frame().constrainingRect(), kSquare);
  mask->setImageParameterWithImage(plain(100, 50));
  EXPECT_EQ(mask.frame().rectValue(), rect(250, 275, 100, 50));
  // An image that another hand gave the filter is moved as well.
  mask.filter->setValueForKey(plain(9, 9), "inputMaskImage");
  EXPECT_EQ(mask.frame().rectValue(), rect(0, 0, 9, 9));
  mask.frame().setDestinationRectValue(rect(20, 20, 9, 9));
  EXPECT_EQ(mask->rectValue(), rect(20, 20, 9, 9));
  mask->removingFilter();
  EXPECT_TRUE(mask.canvas.controls.empty());
  mask.frame().setDestinationRectValue(rect(0, 0, 10, 10));
  EXPECT_EQ(mask->rectValue(), rect(20, 20, 9, 9)) << "nothing is bound any more";
}

TEST(KPImageParameterController, ManyPlacementsLeaveTheNumbersOfOne) {
  const std::string path = file("mask.png", 70, 30);
  const Mask mask, once, restored;
  for (const Mask* each : {&mask, &once}) ASSERT_TRUE((*each)->setImageParameterWithPath(path));
  for (int i = 1; i <= 1000; ++i)
    mask.frame().setDestinationRectValue(rect(0.01 * i, 1, 5 + 0.137 * i, 3 + 0.0517 * i));
  once->setRectValue(rect(10, 1, 142, 54.7));
  mask.frame().setDestinationRectValue(rect(10, 1, 142, 54.7));
  expectNear(mask->rectValue(), once->rectValue(), "no drift");
  restored->setValueFromDict(mask.written(), rect(0, 0, 200, 100));
  EXPECT_EQ(restored.written(), mask.written()) << "the same bits";
  EXPECT_EQ(restored->rectValue(), mask->rectValue());
}

TEST(KPImageParameterController, AnImageIsChosenOrDropped) {
  const Mask mask(kSquare);
  const std::string initial = mask->sourceImageFilename();
  const std::string a = file("a.png", 20, 10), b = file("b.png", 40, 10);
  EXPECT_EQ(mask->label().text(), "Mask");
  mask->chooseButton().userPressed();
  EXPECT_EQ(mask->sourceImageFilename(), initial) << "without a screen nothing is chosen";
  ScriptedScreen screen;
  mask->chooseButton().userPressed();
  EXPECT_EQ(screen.openPanels, 1);
  EXPECT_EQ(mask->sourceImageFilename(), initial) << "cancelled";
  screen.openPanelAnswers = {a, "/no/such.png"};
  mask->chooseButton().userPressed();
  EXPECT_EQ(mask->sourceImageFilename(), a);
  EXPECT_EQ(mask->rectValue(), rect(290, 295, 20, 10));
  EXPECT_EQ(mask->imageView().image().extent(), rect(0, 0, 20, 10)) << "the well shows it unplaced";
  mask->chooseButton().userPressed();
  EXPECT_EQ(mask->sourceImageFilename(), a) << "a file that is not there";

  mask->imageView().userDroppedFiles({b, a});
  EXPECT_EQ(mask->sourceImageFilename(), b);
  EXPECT_EQ(mask->rectValue(), rect(280, 295, 40, 10));
  mask->imageView().userDroppedImage(plain(8, 6));
  EXPECT_EQ(mask->sourceImageFilename(), "");
  EXPECT_EQ(mask->rectValue(), rect(296, 297, 8, 6));
  EXPECT_EQ(mask.written(), maskEntry(PropertyListDictionary())) << "from no file";
}

TEST(KPImageParameterController, AnImageDraggedOutIsATIFF) {
  const Mask mask(kSquare);
  LogCapture log;
  mask->setImageParameterWithImage(plain(12, 8));
  const KPImageSourcePromise promise = mask->sourceImagePromise();
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
  EXPECT_TRUE(log.lines.empty());
  EXPECT_EQ(KPImageSourcePromise::promiseWithCIImage({}).provideDataForType(NSTIFFPboardType), std::nullopt);
  EXPECT_EQ(log.lines.size(), 1u);
}

TEST(KPImageParameterController, HostileImagesAndPlacesAreRefusedWithALogLine) {
  const Mask mask;
  const std::string good = file("good.png", 50, 50), huge = kOwnPreferences.folder() + "/huge.tif";
  writeTiffHeader(huge, 30000, 30000);
  ASSERT_TRUE(mask->setImageParameterWithPath(good));
  const Value former = mask.filter->valueForKey("inputMaskImage");
  LogCapture log;
  Changes changes;
  const std::function<void()> attempts[] = {
      [&] { mask->imageView().userDroppedImage(plain(3, 3).imageByClampingToExtent()); },
      [&] { mask->imageView().userDroppedImage(CIImage::emptyImage()); },
      [&] { mask->setRectValue(rect(NAN, 0, 10, 10)); },
      [&] { mask->setRectValue(rect(0, 0, INFINITY, 10)); },
      [&] { mask.frame().setDestinationRectValue(rect(0, NAN, 10, 10)); },
      [&] { mask->imageView().userDroppedFiles({huge}); },
  };
  for (size_t i = 0; i < std::size(attempts); ++i) {
    attempts[i]();
    EXPECT_EQ(log.lines.size(), i + 1);
    EXPECT_EQ(mask.filter->valueForKey("inputMaskImage"), former) << i;
    EXPECT_EQ(mask->sourceImageFilename(), good) << i;
    EXPECT_EQ(mask->imageView().image().extent(), rect(0, 0, 50, 50)) << i;
  }
  EXPECT_TRUE(log.has("huge.tif"));
  EXPECT_TRUE(changes.take().empty());

  const Mask tiny(rect(0, 0, 1, 1));
  tiny->setImageParameterWithImage(plain(1, 1));
  EXPECT_EQ(tiny->rectValue(), rect(0, 0, 1, 1));
  tiny->setImageParameterWithImage(plain(400, 2));
  expectNear(tiny->rectValue(), rect(0, 0.4975, 1, 0.005), "fitted into one pixel");
}

TEST(KPImageParameterController, WhatIsTiledHasNoPlace) {
  const auto filter = controlFilter();
  const Canvas canvas(rect(0, 0, 100, 100));
  const auto texture = KPImageParameterController::controllerForFilter(filter, "inputTexture");
  EXPECT_TRUE(canvas.controls.empty());
  texture->setImageParameterWithImage(plain(40, 20));
  EXPECT_EQ(texture->rectValue(), rect(0, 0, 40, 20));
  texture->reset();
  EXPECT_EQ(texture->rectValue(), rect(0, 0, 40, 20));
}

TEST(KPImageParameterController, StartsWithItsDefaultPicture) {
  const struct {
    const char* filter;
    const char* key;
    const char* file;
  } rows[] = {
      {"CIBlendWithMask", "inputMaskImage", "Default_Mask.tif"},
      {"CIGlassDistortion", "inputDisplacementImage", "Default_Mask.tif"},
      {"CIColorMap", "inputGradientImage", "Default_Colormap.tif"},
      {"CIGlassDistortion", "inputTexture", "Default_Texture.tif"},
      {"CIShadedMaterial", "inputShadingImage", "Default_Material.tif"},
      {"CIPageCurlTransition", "inputShadingImage", "Default_Shading.tif"},
      {"CISourceOverCompositing", "inputImage", "Placeholder.tif"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(fs::path(defaultPicturePath(row.filter, row.key)).filename(), row.file) << row.key;

  const Mask first(rect(0, 0, 100, 100)), second(rect(0, 0, 100, 100));
  const std::string path = defaultPicturePath("any", "inputMaskImage");
  EXPECT_EQ(first->sourceImageFilename(), path);
  EXPECT_LE(first->rectValue().size.width, 100.001);
  EXPECT_EQ(first.filter->valueForKey("inputMaskImage"), second.filter->valueForKey("inputMaskImage"))
      << "decoded once";
  EXPECT_EQ(defaultPictureAtPath(path + "/../Default_Mask.tif"), std::nullopt);
}

TEST(KPImageParameterController, PlacementReturnsOnAnImageOfTheSameSizeOnly) {
  const Mask mask, same, other;
  const std::string path = file("mask.png", 50, 50);
  ASSERT_TRUE(mask->setImageParameterWithPath(path));
  mask->setRectValue(rect(10, 20, 25, 12.5));
  const PropertyListDictionary dict = mask.written();
  EXPECT_EQ(dict, placed(path, "{{10, 20}, {25, 12.5}}", "{{0, 0}, {200, 100}}"));
  same->setValueFromDict(dict, rect(0, 0, 200, 100));
  EXPECT_EQ(same->rectValue(), rect(10, 20, 25, 12.5));
  other->setValueFromDict(dict, rect(0, 0, 200, 101));
  EXPECT_EQ(other->rectValue(), rect(75, 25, 50, 50)) << "fitted anew";
  EXPECT_EQ(other->sourceImageFilename(), path);
}

TEST(KPImageParameterController, WhatCannotBeReadLeavesTheImage) {
  const std::string& folder = kOwnPreferences.folder();
  const std::string good = file("good.png", 50, 50);
  const std::string broken = folder + "/broken.png";
  ASSERT_EQ(writeFileAtomically(broken, std::vector<uint8_t>{'n', 'o'}), std::nullopt);
  const auto at = [](const std::string& path) {
    return placed(path, "{{0, 0}, {9, 9}}", "{{0, 0}, {200, 100}}");
  };
  PropertyListDictionary number;
  number.set("path", 5);
  const struct {
    const char* name;
    PropertyListDictionary dict;
    size_t lines;
  } rows[] = {
      {"missing entry", {}, 0},
      {"not a dictionary", maskEntry("text"), 0},
      {"no path", maskEntry(PropertyListDictionary()), 0},
      {"path is a number", maskEntry(number), 0},
      {"no such file", at(folder + "/none.png"), 1},
      {"not a picture", at(broken), 1},
      {"a folder", at(folder), 1},
      {"a device", at("/dev/zero"), 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Mask mask;
    ASSERT_TRUE(mask->setImageParameterWithPath(good));
    LogCapture log;
    mask->setValueFromDict(row.dict, rect(0, 0, 200, 100));
    EXPECT_EQ(mask->sourceImageFilename(), good);
    EXPECT_EQ(mask->rectValue(), rect(75, 25, 50, 50));
    EXPECT_EQ(log.lines.size(), row.lines);
  }
}

TEST(KPImageParameterController, AChainReadsEachFileOnceAndWithinItsLimits) {
  const std::string a = file("a.png", 10, 10), b = file("b.png", 10, 10), c = file("c.png", 20, 10);
  LogCapture log;
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
  EXPECT_THAT(log.lines, ::testing::Each(::testing::HasSubstr("c.png")));
}

}  // namespace
}  // namespace vello::test
