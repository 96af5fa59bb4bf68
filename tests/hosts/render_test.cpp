// vello render: pixels, what is carried over, and what happens when things go wrong.
#include <gmock/gmock.h>

#include "source/core/session/KPImageFilter.h"
#include "tests/hosts/pictures.h"
#include "tests/hosts/program.h"

namespace vello::test {
namespace {

using ::testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using Names = std::vector<std::string>;

const std::string kIdentity = chainText(box("CIExposureAdjust", numberMember("inputEV", "0")));
// Does not clip: with alpha, clipped colour is no multiple of the premultiplied one.
const std::string kDarker = chainText(box("CIExposureAdjust", numberMember("inputEV", "-0.5")));
const std::string kBrighter = chainText(box("CIExposureAdjust", numberMember("inputEV", "0.5")));

class Render : public ::testing::Test {
 protected:
  Render() {
    writeText(folder / "identity.chain", kIdentity);
    writeText(folder / "brighter.chain", kBrighter);
    writeText(folder / "darker.chain", kDarker);
  }
  Ended render(Names arguments, const RunOptions& options = {}) const {
    arguments.insert(arguments.begin(), "render");
    return vello(arguments, options);
  }
  // One picture through a chain of the folder.
  Bitmap result(const std::string& input, const std::string& chain, const std::string& output) const {
    const Ended ended = render({folder / input, "--chain", folder / chain, "-o", folder / output});
    EXPECT_EQ(ended.status, 0) << input << " " << ended.errors;
    return readPicture(folder / output).bitmap;
  }
  const Folder folder;
};

TEST_F(Render, ChainThatChangesNothingGivesTheSourcesBytes) {
  const struct {
    const char* name;
    PictureKind kind;
  } rows[] = {
      {"rgb.png", {}},
      {"rgb.tif", {}},
      {"alpha.png", {24, 16, 8, 4, ColorSpace::sRGB()}},
      {"alpha.tif", {24, 16, 8, 4, ColorSpace::named("Adobe RGB")}},
      {"p3.png", {24, 16, 8, 3, ColorSpace::named("Display P3")}},
      {"rgb16.png", {24, 16, 16, 3, ColorSpace::sRGB()}},
      {"rgb16.tif", {24, 16, 16, 3, ColorSpace::named("Display P3")}},
  };
  for (const auto& row : rows) {
    writePicture(folder / row.name, noise(row.kind));
    const Bitmap bitmap = result(row.name, "identity.chain", std::string("o-") + row.name);
    EXPECT_EQ(bitmap.layout().bitsPerComponent, row.kind.bits) << row.name;
    EXPECT_TRUE(pixels(bitmap) == pixels(noise(row.kind))) << row.name;
  }
}

// What the session gives has premultiplied alpha.
void expectPixelsOfSession(const Bitmap& ours, const Bitmap& source, const std::string& chain) {
  const auto theirs = KPImageFilter::imageFilterWithCGImage({source, 0})->filterResultForChain(chain);
  ASSERT_TRUE(theirs);
  const Bytes bytes = pixels(ours);
  const auto pixel = static_cast<size_t>(ours.layout().componentsPerPixel);
  ASSERT_EQ(bytes.size() / pixel, theirs->size() / 4);
  for (size_t i = 0; i < theirs->size(); ++i) {
    if (pixel == 3 && i % 4 == 3) continue;
    const uint8_t* own = &bytes[i / 4 * pixel];
    const double alpha = pixel == 4 ? own[3] / 255.0 : 1;
    const double expected = i % 4 == 3 ? own[3] : own[i % 4] * alpha;
    // Two roundings apart where alpha is not 1.
    ASSERT_NEAR(theirs->data()[i], expected, pixel == 3 ? 0 : 1.5) << i;
  }
}

TEST_F(Render, PixelsAreThoseOfTheSession) {
  for (const int components : {3, 4}) {
    writePicture(folder / "a.png", noise({24, 16, 8, components, ColorSpace::named("Display P3")}));
    const Bitmap ours = result("a.png", "darker.chain", "o.png");
    EXPECT_EQ(ours.layout().componentsPerPixel, components);
    expectPixelsOfSession(ours, readPicture(folder / "a.png").bitmap, kDarker);
  }
}

TEST_F(Render, PicturesOfTheChainAreReadAsTheSessionReadsThem) {
  // Some bands high; what is turned is read in no order.
  const PictureKind kind{40, 700, 8, 3, ColorSpace::sRGB()};
  const std::string blur = box("CIGaussianBlur", numberMember("inputRadius", "9"));
  writePicture(folder / "a.tif", noise(kind, 1));
  for (const char* name : {"b.tif", "b.png", "b.jpg", "larger.png"}) {
    writePicture(folder / name, noise(name[0] == 'l' ? PictureKind{90, 1500} : kind, 2));
    const std::string multiplied =
        box("CIMultiplyCompositing", pictureMember("inputImage", folder / name, 40, 700));
    for (const std::string& after : {std::string(), blur, box("CITwirlDistortion")}) {
      const std::string chain = chainText(multiplied + after);
      SCOPED_TRACE(name + after);
      writeText(folder / "c.chain", chain);
      expectPixelsOfSession(result("a.tif", "c.chain", "o.tif"), readPicture(folder / "a.tif").bitmap, chain);
    }
  }
}

TEST_F(Render, AlphaOnlyWhereTheInputOrTheChainHasIt) {
  writePicture(folder / "opaque.png", noise({}));
  writeText(folder / "mask.chain", chainText(box("CIMaskToAlpha")));
  EXPECT_EQ(result("opaque.png", "brighter.chain", "o.png").layout().componentsPerPixel, 3);
  EXPECT_EQ(result("opaque.png", "mask.chain", "o.png").layout().componentsPerPixel, 4);
  Bytes white(4 * 4 * 4, 255);
  writePicture(folder / "alpha.png",
               Bitmap(layoutOf({4, 4, 8, 4, nullptr}), ColorSpace::sRGB(), Data(white)));
  EXPECT_EQ(pixels(result("alpha.png", "identity.chain", "o.tif")), white);
}

TEST_F(Render, MetadataIsCarriedOver) {
  ImageMetadata metadata;
  metadata.dpiX = metadata.dpiY = 240;
  const std::string xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>";
  metadata.xmp.assign(xmp.begin(), xmp.end());
  for (const char* name : {"a.tif", "a.jpg", "a.png"}) {
    SCOPED_TRACE(name);
    writePicture(folder / name, noise({24, 16, 8, 3, ColorSpace::named("Display P3")}), metadata);
    result(name, "brighter.chain", std::string("o-") + name);
    const ImageReadResult read = readPicture(folder / (std::string("o-") + name));
    EXPECT_NEAR(read.metadata.dpiX.value_or(0), 240, 0.1);
    EXPECT_EQ(read.metadata.xmp, metadata.xmp);
    EXPECT_EQ(read.bitmap.space()->profile(), readPicture(folder / name).bitmap.space()->profile());
    ASSERT_EQ(render({folder / name, "--chain", folder / "brighter.chain", "-o", folder / "dpi.tif", "--dpi",
                      "72.5"})
                  .status,
              0);
    EXPECT_NEAR(readPicture(folder / "dpi.tif").metadata.dpiX.value_or(0), 72.5, 0.01);
  }
}

TEST_F(Render, TellsHowTheSourceWasKeptAndWhatWasLeftOut) {
  ImageMetadata metadata;
  metadata.xmp.assign(70000, ' ');
  writePicture(folder / "a.png", noise({}), metadata);
  const Ended ended =
      render({folder / "a.png", "--chain", folder / "brighter.chain", "-o", folder / "o.jpg", "--verbose"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.errors, ::testing::ContainsRegex("24 x 16, [^,]+, decoded in "));
  EXPECT_THAT(ended.errors, HasSubstr("warning: " + (folder / "o.jpg") + ": the XMP block is too long"));
}

TEST_F(Render, OneBadFileNeverStopsTheRest) {
  const std::string names[] = {"a.png", "cut.png", "empty.tif", "none.png", "text.jpg", "z.tif"};
  for (const char* good : {"a.png", "z.tif", "cut.png"}) writePicture(folder / good, noise({}));
  fs::resize_file(folder / "cut.png", fs::file_size(folder / "cut.png") / 2);
  writeText(folder / "empty.tif", "");
  writeText(folder / "text.jpg", "no picture");
  for (const char* jobs : {"1", "3"}) {
    Names arguments{"--chain",  folder / "brighter.chain", "--out-dir", folder / "out", "--jobs", jobs,
                    "--verbose"};
    for (const std::string& name : names) arguments.push_back(folder / name);
    const Ended ended = render(arguments);
    EXPECT_EQ(ended.status, 1);
    for (const char* bad : {"cut.png", "empty.tif", "none.png", "text.jpg"})
      EXPECT_THAT(ended.errors, HasSubstr("vello: " + (folder / bad)));
    EXPECT_THAT(ended.errors, HasSubstr("2 of 6 done"));
    EXPECT_THAT(ended.errors, HasSubstr("peak memory "));
    // In the order of the arguments, whatever finishes first.
    EXPECT_LT(ended.errors.find("a.png ->"), ended.errors.find("none.png"));
    EXPECT_LT(ended.errors.find("none.png"), ended.errors.find("z.tif ->"));
    EXPECT_EQ(folder.names("out"), (Names{"a.png", "z.tif"}));
    fs::remove_all(folder / "out");
  }
}

TEST_F(Render, NothingIsEverWrittenOverAnInput) {
  writePicture(folder / "a.png", noise({}));
  fs::create_symlink(folder / "a.png", folder / "symbolic.png");
  fs::create_hard_link(folder / "a.png", folder / "hard.png");
  fs::create_directory(folder / "below");
  writePicture(folder / "below/a.png", noise({}, 2));
  const std::string before = fileText(folder / "a.png"), chain = fileText(folder / "brighter.chain");
  const std::string a = folder / "a.png", b = folder / "brighter.chain";
  const struct {
    const char* name;
    Names arguments;
  } rows[] = {
      {"itself", {a, "-o", a}},
      {"itself by another path", {a, "-o", folder / "below/../a.png"}},
      {"symbolic link", {a, "-o", folder / "symbolic.png"}},
      {"hard link", {a, "-o", folder / "hard.png"}},
      {"own folder", {a, "--out-dir", folder / "."}},
      {"another input", {a, folder / "below/a.png", "--out-dir", folder / "below"}},
      {"the chain", {a, "-o", b, "--format", "png"}},
      {"a folder", {a, "-o", folder / "below", "--format", "png"}},
      {"a device", {a, "-o", "/dev/null", "--format", "png"}},
  };
  for (const auto& row : rows) {
    Names arguments = row.arguments;
    arguments.insert(arguments.end(), {"--chain", b});
    EXPECT_EQ(render(arguments).status, 1) << row.name;
    EXPECT_EQ(fileText(a), before) << row.name;
    EXPECT_EQ(fileText(b), chain) << row.name;
  }
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Render, TwoInputsNeverShareAResult) {
  fs::create_directories(folder / "in");
  writePicture(folder / "a.png", noise({}));
  writePicture(folder / "in/a.png", noise({}, 2));
  const Ended ended = render({folder / "a.png", folder / "in/a.png", folder / "a.png", "--chain",
                              folder / "identity.chain", "--out-dir", folder / "out"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, HasSubstr("overwrite that of"));
  EXPECT_EQ(pixels(readPicture(folder / "out/a.png").bitmap), pixels(noise({})));
}

TEST_F(Render, FailedWritingLeavesWhatWasThere) {
  writePicture(folder / "a.png", noise({200, 100, 8, 3, ColorSpace::sRGB()}));
  fs::create_directory(folder / "out");
  writeText(folder / "out/a.png", "old");
  RunOptions fullDisk;
  fullDisk.largestFile = 5000;
  const Ended ended =
      render({folder / "a.png", "--chain", folder / "brighter.chain", "--out-dir", folder / "out"}, fullDisk);
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, HasSubstr("out/a.png"));
  EXPECT_EQ(fileText(folder / "out/a.png"), "old");
  EXPECT_EQ(folder.names("out"), Names{"a.png"});
  // A folder that cannot be one.
  EXPECT_EQ(
      render({folder / "a.png", "--chain", folder / "brighter.chain", "-o", folder / "a.png/o.png"}).status,
      1);
  EXPECT_EQ(
      render({folder / "a.png", "--chain", folder / "brighter.chain", "--out-dir", folder / "a.png"}).status,
      1);
}

TEST_F(Render, InterruptedRunLeavesOnlyWholePictures) {
  writePicture(folder / "a.png", noise({200, 150, 8, 3, ColorSpace::sRGB()}));
  Names arguments{"--chain", folder / "brighter.chain", "--out-dir", folder / "out", "--jobs", "2"};
  constexpr int kCount = 300;
  for (int i = 0; i < kCount; ++i) {
    const std::string name = folder / ("p" + std::to_string(i) + ".png");
    fs::create_hard_link(folder / "a.png", name);
    arguments.push_back(name);
  }
  for (const int number : {SIGINT, SIGTERM}) {
    RunOptions options;
    options.onError = [number](const std::string& errors) {
      return errors.find("->") != std::string::npos ? number : 0;
    };
    const Ended ended = render(arguments, options);
    EXPECT_EQ(ended.status, 130);
    EXPECT_THAT(ended.errors, HasSubstr("interrupted"));
    const Names written = folder.names("out");
    EXPECT_GE(written.size(), 1u);
    EXPECT_LT(written.size(), static_cast<size_t>(kCount));
    for (const std::string& name : written) {
      EXPECT_EQ(name.substr(0, 1), "p");
      EXPECT_EQ(readPicture(folder / ("out/" + name)).bitmap.width(), 200);
    }
    fs::remove_all(folder / "out");
  }
}

TEST_F(Render, ChainThatCannotBeFullyReadIsRefusedBeforeAnything) {
  writePicture(folder / "a.png", noise({}));
  writePicture(folder / "cut.png", noise({240, 250}));  // only the last rows are missing
  fs::resize_file(folder / "cut.png", fs::file_size(folder / "cut.png") - 40);
  const auto mask = [&](const std::string& file) {
    return chainText(box("CIBlendWithMask", pictureMember("inputMaskImage", folder / file, 1, 1)));
  };
  const struct {
    const char* name;
    std::string chain;
    const char* said;
  } rows[] = {
      {"unknown filter", chainText(box("CINoSuch")), "box 1, CINoSuch"},
      {"unknown key", chainText(box("CIExposureAdjust", numberMember("inputE", "1"))), "inputE"},
      {"text for a number", chainText(box("CIExposureAdjust", "<key>inputEV</key><string>1</string>")),
       "inputEV"},
      {"missing picture", mask("none.png"), "none.png"},
      {"cut picture", mask("cut.png"), "cut.png"},
      {"no chain", "hello", "c.chain"},
  };
  for (const auto& row : rows) {
    writeText(folder / "c.chain", row.chain);
    const Ended ended =
        render({folder / "a.png", "--chain", folder / "c.chain", "--out-dir", folder / "out"});
    EXPECT_EQ(ended.status, 1) << row.name;
    EXPECT_THAT(ended.errors, HasSubstr(row.said)) << row.name;
    EXPECT_FALSE(fs::exists(folder / "out")) << row.name;
    const Ended single =
        render({folder / "a.png", "--chain", folder / "c.chain", "-o", folder / "single.png"});
    EXPECT_EQ(single.status, 1) << row.name;
    EXPECT_THAT(single.errors, HasSubstr(row.said)) << row.name;
    EXPECT_FALSE(fs::exists(folder / "single.png")) << row.name;
  }
}

TEST_F(Render, NamesAndFormatsOfResultsInAFolder) {
  writePicture(folder / "UPPER.JPG", noise({}));
  writePicture(folder / "two.dots.tiff", noise({}));
  const auto results = [&](Names more) {
    Names arguments{folder / "UPPER.JPG", folder / "two.dots.tiff", "--chain", "-",
                    "--out-dir",          folder / "new/out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    RunOptions options;
    options.input = kBrighter;
    EXPECT_EQ(render(arguments, options).status, 0);
    const Names names = folder.names("new/out");
    fs::remove_all(folder / "new");
    return names;
  };
  EXPECT_EQ(results({}), (Names{"UPPER.JPG", "two.dots.tiff"}));
  EXPECT_EQ(results({"--format", "png"}), (Names{"UPPER.png", "two.dots.png"}));
  EXPECT_EQ(results({"--format", "jpeg"}), (Names{"UPPER.JPG", "two.dots.jpg"}));
}

}  // namespace
}  // namespace vello::test
