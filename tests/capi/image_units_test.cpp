// Installed filters, from the example unit, through chains.
#include "tests/capi/support.h"

namespace capi_test {
namespace {

namespace fs = std::filesystem;

std::vector<int> pixelAt(const std::vector<uint8_t>& pixels, size_t width, size_t x, size_t y) {
  const auto first = pixels.begin() + static_cast<std::ptrdiff_t>((y * width + x) * 4);
  return {first, first + 4};
}

// Loading happens once in a process, so one test sees all of it.
TEST(ImageUnits, AddTheirFiltersOnce) {
  const fs::path folder = std::string(getenv("XDG_DATA_HOME")) + "/vello/image-units";
  fs::create_directories(folder);
  fs::copy_file(VELLO_EXAMPLE_UNIT, folder / "example.so");
  std::ofstream(folder / "broken.so") << "no shared object";
  std::ofstream(folder / "notes.txt") << "no unit at all";
  const auto image = testImage(40, 30);
  const std::string rings =
      chainOf(box("ExampleRings", place("inputCenter", "0.5", "0.5") + real("inputWidth", "4") +
                                      color("inputColor0", "1 0 0 1") + color("inputColor1", "0 0 1 1")));
  LogLines log;
  EXPECT_TRUE(render(image, rings).empty()) << "before loading";
  log.clear();
  LoadImageUnits();
  EXPECT_EQ(log.count(), 1u) << log.all();
  EXPECT_EQ(log.with("broken.so"), 1) << log.all();

  const auto drawn = render(image, rings);
  ASSERT_EQ(drawn.size(), 40u * 30 * 4) << log.all();
  EXPECT_EQ(pixelAt(drawn, 40, 20, 15), (std::vector<int>{255, 0, 0, 255}));  // in the first ring
  EXPECT_EQ(pixelAt(drawn, 40, 26, 15), (std::vector<int>{0, 0, 255, 255}));  // 6 pixels off: in the second
  EXPECT_EQ(pixelAt(drawn, 40, 20, 5), (std::vector<int>{255, 0, 0, 255}));   // 9.5 pixels off: in the third

  // Light between black and red: a grey keeps its lightness in red alone.
  const std::vector<uint8_t> grey = {128, 128, 128, 255};
  for (const char* amount : {"1", "7"}) {  // beyond its greatest value it stays there
    const std::string duotone =
        box("ExampleDuotone", color("inputDarkColor", "0 0 0 1") + color("inputBrightColor", "1 0 0 1") +
                                  real("inputAmount", amount));
    EXPECT_EQ(render(imageOf(1, 1, grey), chainOf(duotone)), (std::vector<uint8_t>{128, 0, 0, 255}));
  }

  log.clear();
  std::ofstream(folder / "late.so") << "no shared object either";
  LoadImageUnits();
  EXPECT_EQ(log.count(), 0u) << log.all();
}

}  // namespace
}  // namespace capi_test
