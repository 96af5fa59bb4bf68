// The exported functions as a host calls them, without a screen.
#include <fenv.h>
#include <sys/mman.h>

#include "tests/capi/support.h"

extern "C" {
int32_t call_filter_image_at_path(CFURLRef url);
CFStringRef call_localized_string(CFStringRef key);
}

namespace capi_test {
namespace {

constexpr const char* kInvert = "CIColorInvert";

TEST(NullArguments, GiveNothingOrAreSkipped) {
  LogLines log;
  const Filtered none = filtered(nullptr, text(chainOf("")));
  EXPECT_EQ(none.width, 0u);
  EXPECT_EQ(none.height, 0u);
  EXPECT_TRUE(none.pixels.empty());
  EXPECT_EQ(log.count(), 1u) << log.all();
  CFStringRef chain = nullptr;
  CFURLRef url = nullptr;
  EXPECT_EQ(FilterPreviewUI(nullptr, nullptr, &chain), kVelloFailed);
  EXPECT_EQ(FilterImageDataWithUI(nullptr, 72, nullptr, nullptr, &url), kVelloFailed);
  EXPECT_EQ(log.count(), 3u) << log.all();

  const auto image = testImage(4, 3);
  EXPECT_EQ(CreateFilteredImageWithChain(image, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(FilterPreviewUI(image, nullptr, nullptr), kVelloFailed);
  EXPECT_EQ(FilterImageDataWithUI(image, 72, nullptr, nullptr, nullptr), kVelloFailed);
  EXPECT_EQ(FilterPresetsList(nullptr), 0);
}

TEST(WithoutAScreen, ModalRunsLogAndWriteNothing) {
  const auto image = testImage(4, 3);
  const auto chain = text(chainOf(box(kInvert)));
  LogLines log;
  CFStringRef outChain = chain;
  EXPECT_EQ(FilterPreviewUI(image, chain, &outChain), kVelloFailed);
  EXPECT_EQ(outChain, static_cast<CFStringRef>(chain));
  EXPECT_EQ(log.count(), 1u) << log.all();
  const Owned<CFURLRef> folder = VelloURLCreateWithPath("/tmp/a.tif");
  CFURLRef outURL = folder;
  EXPECT_EQ(FilterImageDataWithUI(image, 300, text("no such preset"), folder, &outURL), kVelloFailed);
  EXPECT_EQ(outURL, static_cast<CFURLRef>(folder));
  EXPECT_EQ(log.count(), 2u) << log.all();
}

TEST(WithoutAScreen, AFileGivesZeroWhateverItHolds) {
  const TemporaryFolder folder;
  const auto image = testImage(4, 3);
  ASSERT_EQ(VelloImageWriteToFile(image, folder.file("good.png").c_str()), 0);
  folder.write("bad.png", "no picture");
  for (const char* name : {"good.png", "bad.png", "missing.png"}) {
    const Owned<CFURLRef> url = VelloURLCreateWithPath(folder.file(name).c_str());
    LogLines log;
    EXPECT_EQ(FilterImageAtPath(url), 0) << name;
    EXPECT_GE(log.count(), 1u) << name;
    EXPECT_EQ(call_filter_image_at_path(url), 0) << name;
  }
  EXPECT_EQ(FilterImageAtPath(nullptr), 0);
}

TEST(WithoutAScreen, PanelsLogAndTellVersionsByTheHostsNumber) {
  const struct {
    uint32_t id;
    const char* version;
  } rows[] = {{kVelloHostStandalone, " 1.1;"},
              {kVelloHostIDCS1, " 1.0;"},
              {kVelloHostIDCS2, " 1.0;"},
              {3, " 0.9 (beta);"},
              {4, " 0.9 (beta);"},
              {kVelloHostIDCS3, " 1.0;"},
              {6, " 1.1;"},
              {UINT32_MAX, " 1.1;"}};
  for (const auto& row : rows) {
    LogLines log;
    SetHostApplicationID(row.id);
    DoAboutBox();
    CheckForUpdate();
    EXPECT_EQ(log.with(row.version), 1) << row.id << ": " << log.all();
    EXPECT_EQ(log.count(), 2u) << log.all();
  }
  SetHostApplicationID(kVelloHostStandalone);
}

TEST(Presets, AreNoneAtFirstAndThenTheStoredOnes) {
  CFArrayRef names = nullptr;
  EXPECT_EQ(FilterPresetsList(&names), 0);
  const Owned<CFArrayRef> none = names;
  EXPECT_NE(names, nullptr);
  EXPECT_EQ(VelloArrayGetCount(names), 0);

  const std::filesystem::path folder = std::string(getenv("XDG_CONFIG_HOME")) + "/vello";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "effects.plist")
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist "
         "version=\"1.0\"><dict><key>KPImageFilterPresets</key>"
         "<array><dict><key>KPPresetName</key><string>Soft</string></dict><dict/>"
         "<dict><key>KPPresetName</key><string>H\xC3\xA4rter</string></dict></array></dict></plist>";
  EXPECT_EQ(FilterPresetsList(&names), 2);
  const Owned<CFArrayRef> two = names;
  ASSERT_EQ(VelloArrayGetCount(names), 2);
  EXPECT_STREQ(VelloStringGetUTF8(static_cast<CFStringRef>(VelloArrayGetValue(names, 0))), "Soft");
  EXPECT_STREQ(VelloStringGetUTF8(static_cast<CFStringRef>(VelloArrayGetValue(names, 1))), "H\xC3\xA4rter");
  EXPECT_EQ(VelloArrayGetValue(names, 2), nullptr);
  EXPECT_EQ(VelloArrayGetValue(names, -1), nullptr);
  std::filesystem::remove(folder / "effects.plist");
}

TEST(Texts, FallBackToTheKeyOrToNothing) {
  const auto known = text("kKPImageFilter_ZoomActualPixelsString"), missing = text("no such key");
  EXPECT_STREQ(VelloStringGetUTF8(LocalizedStringForString(known)), "Actual Pixels");
  EXPECT_STREQ(VelloStringGetUTF8(LocalizedStringForString(missing)), "no such key");
  EXPECT_STREQ(VelloStringGetUTF8(call_localized_string(known)), "Actual Pixels");
  EXPECT_STREQ(VelloStringGetUTF8(call_localized_string(missing)), "");
  EXPECT_EQ(LocalizedStringForString(nullptr), nullptr);
  EXPECT_EQ(KPLocalizedString(nullptr), nullptr);
}

TEST(Texts, StayWhateverTheHostReleases) {
  const char* utf8 = nullptr;
  for (int i = 0; i < 3; ++i) {
    const CFStringRef found = LocalizedStringForString(text("gone soon"));
    EXPECT_TRUE(!utf8 || utf8 == VelloStringGetUTF8(found));
    utf8 = VelloStringGetUTF8(found);
    VelloRelease(found);
    VelloRelease(found);
  }
  EXPECT_STREQ(utf8, "gone soon");
}

TEST(Profiles, FallBackToGenericRGB) {
  const auto nameOf = [](CGColorSpaceRef made) {
    const Owned<CGColorSpaceRef> space = made;
    const Owned<CFStringRef> name = VelloColorSpaceCopyName(space);
    return std::string(VelloStringGetUTF8(name));
  };
  const std::string generic = nameOf(VelloColorSpaceCreateWithName("generic RGB"));
  const Owned<CGColorSpaceRef> p3 = VelloColorSpaceCreateWithName("Display P3");
  const Owned<CFDataRef> profile = VelloColorSpaceCopyProfile(p3);
  const void* bytes = VelloDataGetBytes(profile);
  const auto length = static_cast<int32_t>(VelloDataGetLength(profile));
  ASSERT_GT(length, 128);
  EXPECT_NE(nameOf(CreateCGColorSpaceFromProfile(bytes, length)), generic);
  EXPECT_EQ(nameOf(CreateCGColorSpaceFromProfile(bytes, 0)), generic);
  EXPECT_EQ(nameOf(CreateCGColorSpaceFromProfile(bytes, -5)), generic);
  EXPECT_EQ(nameOf(CreateCGColorSpaceFromProfile(nullptr, length)), generic);
  EXPECT_EQ(nameOf(CreateCGColorSpaceFromProfile("not a profile", 13)), generic);
  EXPECT_EQ(VelloColorSpaceCreateWithProfile("not a profile", 13), nullptr);
  EXPECT_EQ(VelloColorSpaceCreateWithName("no such space"), nullptr);
}

TEST(HelpBook, TakesAFolderOrNothing) {
  const Owned<CFBundleRef> bundle = VelloBundleCreateWithPath("/tmp");
  EXPECT_STREQ(VelloBundleGetPath(bundle), "/tmp");
  EXPECT_EQ(VelloBundleCreateWithPath("/no/such/folder"), nullptr);
  RegisterHelpBook(bundle);
  RegisterHelpBook(nullptr);
}

TEST(Chain, AFilterChangesPixels) {
  const Filtered result = filtered(testImage(20, 10), text(chainOf(box(kInvert))));
  EXPECT_EQ(result.width, 20u);
  EXPECT_EQ(result.height, 10u);
  ASSERT_EQ(result.pixels.size(), 20u * 10 * 4);
  // The top left pixel: red and green begin at 0 there.
  EXPECT_EQ(result.pixels[0], 255);
  EXPECT_EQ(result.pixels[1], 255);
  EXPECT_EQ(result.pixels[3], 255);
}

TEST(Chain, WithoutAReadableOneTheSourceComesBack) {
  const auto source = pixelsOf(17, 9, true);
  const auto image = imageOf(17, 9, source);
  const struct {
    const char *name, *chain;
    int lines;
  } rows[] = {{"empty stack", "()", 0},
              {"empty text", "", 1},
              {"no property list", "<plist><array>", 1},
              {"no array", "{a = 1;}", 1}};
  for (const auto& row : rows) {
    LogLines log;
    EXPECT_EQ(render(image, row.chain), source) << row.name;
    EXPECT_EQ(log.with(" could not decode filter chain string : "), row.lines) << row.name << log.all();
  }
  EXPECT_EQ(filtered(image, nullptr).pixels, source);
}

TEST(Chain, AnUnknownFilterGivesNoPixelsAndOneLineWithItsName) {
  const auto image = testImage(5, 4);
  LogLines log;
  const Filtered result = filtered(image, text(chainOf(box(kInvert) + box("CINoSuchFilter"))));
  EXPECT_TRUE(result.pixels.empty());
  EXPECT_EQ(result.width, 5u);
  EXPECT_EQ(result.height, 4u);
  EXPECT_EQ(log.count(), 1u) << log.all();
  EXPECT_EQ(log.with("CINoSuchFilter"), 1) << log.all();
  log.clear();
  EXPECT_TRUE(render(image, chainOf(box(std::string(5000, 'x')))).empty());
  EXPECT_LT(log.all().size(), 1000u) << "a long name is cut";
}

TEST(Chain, AHostsFloatingPointModeChangesNothing) {
  const auto image = testImage(50, 40);
  const std::string chain = chainOf(
      box("CIBumpDistortion", place("inputCenter", "0.3333", "0.7") + real("inputRadius", "17.3")) +
      box("CIGaussianBlur", real("inputRadius", "2.5")) + box("CIExposureAdjust", real("inputEV", "0.1")));
  const auto expected = render(image, chain);
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    fesetround(mode);
    const auto rounded = render(image, chain);
    const int after = fegetround();
    fesetround(FE_TONEAREST);
    EXPECT_EQ(rounded, expected) << mode;
    EXPECT_EQ(after, mode) << "the host's own mode is back";
  }
  feenableexcept(FE_INVALID | FE_DIVBYZERO | FE_INEXACT);
  const auto trapping = render(image, chain);
  fedisableexcept(FE_ALL_EXCEPT);
  EXPECT_EQ(trapping, expected);
}

TEST(Chain, AResultOfTwoGibibytesIsRefusedBeforeMemoryIsTouched) {
  constexpr size_t kSide = 23171;  // 4 bytes a pixel: just above 2^31
  const size_t length = kSide * kSide;
  void* zeros = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  {
    const Owned<CFDataRef> data = VelloDataCreateNoCopy(zeros, length, nullptr, nullptr);
    const Owned<CGDataProviderRef> provider = KP_CGDataProviderCreateWithCFData(data);
    const Owned<CGColorSpaceRef> gray = VelloColorSpaceCreateWithName("generic gray");
    const Owned<CGImageRef> image =
        KP_CGImageCreate(kSide, kSide, 8, 8, kSide, gray, kVelloAlphaNone, provider, nullptr, 0, 0);
    LogLines log;
    const Filtered result = filtered(image, nullptr);
    EXPECT_TRUE(result.pixels.empty());
    EXPECT_EQ(result.width, kSide);
    EXPECT_EQ(result.height, kSide);
    EXPECT_EQ(log.count(), 1u) << log.all();
  }
  munmap(zeros, length);
}

}  // namespace
}  // namespace capi_test
