#include "platform/pixel_conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "tests/platform/test_images.h"
#include "tests/platform/test_profiles.h"

namespace vello {
namespace {

using testing::kRGBProfiles;
using testing::layoutOf;
using testing::RGBProfile;

struct Planes {
  std::vector<float> r, g, b, a;
  explicit Planes(size_t n) : r(n), g(n), b(n), a(n) {}
  PlanarRun run() { return {r.data(), g.data(), b.data(), a.data()}; }
};

// Every row read and written again in the bitmap's own space.
std::vector<uint8_t> roundTrip(const Bitmap& bitmap, const PixelLayout& target) {
  const int n = static_cast<int>(bitmap.width());
  const PixelReader reader(bitmap);
  const PixelWriter writer(target, bitmap.space());
  Planes planes(static_cast<size_t>(n));
  std::vector<uint8_t> bytes(static_cast<size_t>(target.bytesPerRow * target.height));
  for (int64_t y = 0; y < bitmap.height(); ++y) {
    reader.readLinear(y, 0, n, planes.run());
    writer.write(planes.run(), n, bytes.data() + y * target.bytesPerRow);
  }
  return bytes;
}

// Red is the row, green and blue the column.
const Data& allColors() {
  static const Data data = [] {
    std::vector<uint8_t> bytes;
    bytes.reserve(size_t{3} << 24);
    std::vector<uint8_t> row(3 << 16);
    for (size_t i = 0; i < 1 << 16; ++i) {
      row[3 * i + 1] = static_cast<uint8_t>(i >> 8), row[3 * i + 2] = static_cast<uint8_t>(i);
    }
    for (int red = 0; red < 256; ++red) {
      for (size_t i = 0; i < 1 << 16; ++i) row[3 * i] = static_cast<uint8_t>(red);
      bytes.insert(bytes.end(), row.begin(), row.end());
    }
    return Data(std::move(bytes));
  }();
  return data;
}

class EveryProfile : public ::testing::TestWithParam<RGBProfile> {
 protected:
  ColorSpacePtr space() const { return ColorSpace::fromProfile(testing::makeProfile(GetParam())); }
};

TEST_P(EveryProfile, KeepsAllOpaqueColors) {
  const ColorSpacePtr own = space();
  ASSERT_TRUE(own && own->isMatrix());
  const PixelLayout layout = layoutOf(1 << 16, 256, 8, 3, AlphaInfo::none);
  const std::vector<uint8_t> result = roundTrip(Bitmap(layout, own, allColors()), layout);
  EXPECT_EQ(std::memcmp(result.data(), allColors().data(), result.size()), 0);
}

TEST_P(EveryProfile, KeepsPremultipliedBytesWithColorAboveAlphaAndAlphaZero) {
  PixelLayout layout = layoutOf(2500, 300, 8, 4, AlphaInfo::premultipliedLast);
  std::vector<uint8_t> bytes(static_cast<size_t>(layout.bytesPerRow * layout.height));
  std::mt19937 random(7);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool rareAlpha = i % 4 == 3 && random() % 8 == 0;
    bytes[i] = static_cast<uint8_t>(rareAlpha ? random() % 4 : random());
  }
  const Data data(std::move(bytes));
  const std::vector<uint8_t> result = roundTrip(Bitmap(layout, space(), data), layout);
  size_t wrong = 0;
  for (size_t i = 0; i < result.size(); ++i) wrong += result[i] != data.data()[i];
  EXPECT_EQ(wrong, 0u);
}

TEST_P(EveryProfile, KeepsSixteenBits) {
  const PixelLayout layout = layoutOf(4000, 50, 16, 3, AlphaInfo::none);
  const Data data = testing::randomData(static_cast<size_t>(layout.bytesPerRow * layout.height), 3);
  const std::vector<uint8_t> result = roundTrip(Bitmap(layout, space(), data), layout);
  int worst = 0;
  for (size_t i = 0; i < result.size(); i += 2) {
    const auto code = [i](const uint8_t* p) { return p[i] | p[i + 1] << 8; };
    worst = std::max(worst, std::abs(code(result.data()) - code(data.data())));
  }
  // A dark channel beside a bright one cannot survive 32-bit light in other primaries to its last 16th bit.
  EXPECT_LE(worst, std::string(GetParam().name) == "sRGB" ? 0 : 160);
}

INSTANTIATE_TEST_SUITE_P(Profiles, EveryProfile, ::testing::ValuesIn(kRGBProfiles),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace vello
