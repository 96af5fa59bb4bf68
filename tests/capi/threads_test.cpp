// Many sessions at once give the bytes they give one after another.
#include <thread>

#include "tests/capi/support.h"

namespace capi_test {
namespace {

constexpr size_t kChains = 50, kThreads = 8, kPictures = 7;

// Boxes with place and picture inputs among plain ones; `i` turns their values.
std::vector<std::string> boxes(size_t i, const std::string& file) {
  const std::string t = std::to_string(static_cast<double>(i % 10 + 1) / 11);
  const std::string radius = std::to_string(3 + i % 5);
  return {
      box("CIBumpDistortion",
          place("inputCenter", t, "0.5") + real("inputRadius", "30") + real("inputScale", t)),
      box("CITwirlDistortion",
          place("inputCenter", "0.4", t) + real("inputRadius", "25") + real("inputAngle", t)),
      box("CIGaussianBlur", real("inputRadius", radius)),
      box("CIColorControls",
          real("inputSaturation", t) + real("inputBrightness", "0.1") + real("inputContrast", "1.2")),
      box("CIBlendWithMask", picture("inputMaskImage", file) + picture("inputImage", file)),
      box("CISourceAtopCompositing", picture("inputImage", file)),
      box("CIRadialGradient", place("inputCenter", t, t) + real("inputRadius0", "2") +
                                  real("inputRadius1", "40") + color("inputColor0", "1 0.5 0 0.7") +
                                  color("inputColor1", "0 0 1 0")),
      box("CIPixellate", place("inputCenter", t, t) + real("inputScale", radius)),
      box("CIHueAdjust", real("inputAngle", t)),
      box("CIBloom", real("inputRadius", radius) + real("inputIntensity", t)),
  };
}

std::string chain(size_t i, const std::string& file) {
  const auto all = boxes(i, file);
  return chainOf(all[i % 10] + all[(i / 5 + 3) % 10] + all[(i * 7 + 1) % 10]);
}

TEST(Threads, EightAtOnceRenderWhatOneDoes) {
  const TemporaryFolder folder;
  const std::string file = folder.file("picture.png");
  ASSERT_EQ(VelloImageWriteToFile(testImage(31, 23, true), file.c_str()), 0);
  std::vector<Owned<CGImageRef>> pictures;
  for (size_t i = 0; i < kPictures; ++i) pictures.push_back(testImage(40 + i * 37, 90 - i * 9, i % 2 == 1));
  const auto result = [&](size_t i) { return render(pictures[i % kPictures], chain(i, file)); };

  std::vector<std::vector<uint8_t>> expected;
  size_t changed = 0;
  for (size_t i = 0; i < kChains; ++i) {
    expected.push_back(result(i));
    ASSERT_FALSE(expected[i].empty()) << i;
    changed += expected[i] != render(pictures[i % kPictures], "()");
  }
  EXPECT_EQ(changed, kChains);

  std::vector<std::vector<size_t>> wrong(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (size_t n = 0; n < kChains; ++n) {
        const size_t i = (n * 7 + t * 11) % kChains;  // each thread in an order of its own
        if (result(i) != expected[i]) wrong[t].push_back(i);
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (size_t t = 0; t < kThreads; ++t)
    EXPECT_TRUE(wrong[t].empty()) << "thread " << t << ", " << wrong[t].size() << " chains";
}

}  // namespace
}  // namespace capi_test
