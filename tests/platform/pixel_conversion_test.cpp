#include "platform/pixel_conversion.h"

#include <gtest/gtest.h>

#include <bit>
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

struct Place {
  const char* name;
  int bits, components;
  AlphaInfo alpha;
  bool littleEndian, reversed;
  std::vector<uint8_t> bytes;  // one pixel: red 1, green 2, blue 3, alpha 4 of 4
};

TEST(PixelReader, FindsComponentsInEveryLayout) {
  const Place places[] = {
      {"RGBA", 8, 4, AlphaInfo::last, true, false, {51, 102, 153, 204}},
      {"ARGB", 8, 4, AlphaInfo::first, true, false, {204, 51, 102, 153}},
      {"BGRA", 8, 4, AlphaInfo::first, true, true, {153, 102, 51, 204}},
      {"ABGR", 8, 4, AlphaInfo::last, true, true, {204, 153, 102, 51}},
      {"RGBX", 8, 4, AlphaInfo::noneSkipLast, true, false, {51, 102, 153, 7}},
      {"XRGB", 8, 4, AlphaInfo::noneSkipFirst, true, false, {7, 51, 102, 153}},
      {"RGB16LE", 16, 3, AlphaInfo::none, true, false, {0x33, 0x33, 0x66, 0x66, 0x99, 0x99}},
      {"ARGB16BE", 16, 4, AlphaInfo::first, false, false, {0xcc, 0xcc, 0x33, 0x33, 0x66, 0x66, 0x99, 0x99}},
      {"RGBFloatBE",
       32,
       3,
       AlphaInfo::none,
       false,
       false,
       {0x3e, 0x4c, 0xcc, 0xcd, 0x3e, 0xcc, 0xcc, 0xcd, 0x3f, 0x19, 0x99, 0x9a}},
  };
  for (const Place& place : places) {
    PixelLayout layout = layoutOf(1, 1, place.bits, place.components, place.alpha);
    layout.littleEndian = place.littleEndian, layout.pixelBytesReversed = place.reversed;
    const Bitmap bitmap(layout, ColorSpace::named("linear sRGB"), Data(place.bytes));
    float r, g, b, a;
    PixelReader(bitmap).readLinear(0, 0, 1, {&r, &g, &b, &a});
    const float alpha = layout.hasAlpha() ? 0.8f : 1.0f;
    EXPECT_FLOAT_EQ(a, alpha) << place.name;
    EXPECT_FLOAT_EQ(r, 0.2f * alpha) << place.name;
    EXPECT_FLOAT_EQ(g, 0.4f * alpha) << place.name;
    EXPECT_FLOAT_EQ(b, 0.6f * alpha) << place.name;
    std::vector<uint8_t> written(place.bytes.size());
    PixelWriter(layout, bitmap.space()).write({&r, &g, &b, &a}, 1, written.data());
    std::vector<uint8_t> expected = place.bytes;
    for (uint8_t& byte : expected) byte = byte == 7 ? 255 : byte;  // a skipped component is full
    EXPECT_EQ(written, expected) << place.name;
  }
}

TEST(PixelReader, MasksAndGreyHaveNoColorOfTheirOwn) {
  float r, g, b, a;
  PixelReader(Bitmap(layoutOf(1, 1, 8, 1, AlphaInfo::only), nullptr, Data({51})))
      .readLinear(0, 0, 1, {&r, &g, &b, &a});
  EXPECT_EQ(r, 0);
  EXPECT_FLOAT_EQ(a, 0.2f);
  PixelReader(Bitmap(layoutOf(1, 1, 8, 1, AlphaInfo::none), nullptr, Data({128})))
      .readLinear(0, 0, 1, {&r, &g, &b, &a});
  EXPECT_FLOAT_EQ(r, static_cast<float>(std::pow(128 / 255.0, 2.2)));
  EXPECT_EQ(r, b);
}

// Every straight colour at every alpha.
TEST(PixelWriter, StraightColorBecomesTheRoundedProduct) {
  const PixelLayout straight = layoutOf(256, 256, 8, 4, AlphaInfo::last);
  PixelLayout premultiplied = straight;
  premultiplied.alpha = AlphaInfo::premultipliedLast;
  std::vector<uint8_t> bytes;
  for (int i = 0; i < 65536; ++i) {
    const auto color = static_cast<uint8_t>(i), alpha = static_cast<uint8_t>(i >> 8);
    bytes.insert(bytes.end(), {color, color, color, alpha});
  }
  const Bitmap bitmap(straight, ColorSpace::sRGB(), Data(bytes));
  const std::vector<uint8_t> result = roundTrip(bitmap, premultiplied);
  for (size_t i = 0; i < result.size(); ++i) {
    const int expected = i % 4 == 3 ? bytes[i] : (2 * bytes[i] * bytes[i / 4 * 4 + 3] + 255) / 510;
    ASSERT_EQ(result[i], expected) << i;
  }
}

double encodedBy(const char* space, double light) {
  const std::string name = space;
  if (name == "linear sRGB") return light;
  if (name == "Adobe RGB") return std::pow(light, 256.0 / 563);
  return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

TEST(PixelWriter, RoundsToTheNearestCode) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> exponent(-18, 0.01f);
  for (const char* name : {"linear sRGB", "Adobe RGB", "sRGB"}) {
    const ColorSpacePtr space = ColorSpace::named(name);
    constexpr int kCount = 20000;
    Planes planes(kCount);
    for (size_t i = 0; i < kCount; ++i) {
      // Equal channels: neutral light is the same in all primaries.
      // Every other value lies about the place where sRGB's line meets its power.
      const float light = i % 2 ? std::exp2(exponent(random)) : 0.00312f + 2e-9f * static_cast<float>(i);
      planes.r[i] = planes.g[i] = planes.b[i] = light;
      planes.a[i] = 1;
    }
    // The matrix of other primaries alters neutral light in its last bits.
    const double slack = std::string(name) == "Adobe RGB" ? 2e-7 : 1e-9;
    for (const int bits : {8, 16}) {
      const PixelLayout layout = layoutOf(kCount, 1, bits, 3, AlphaInfo::none);
      std::vector<uint8_t> bytes(static_cast<size_t>(layout.bytesPerRow));
      PixelWriter(layout, space).write(planes.run(), kCount, bytes.data());
      const double largest = bits == 8 ? 255 : 65535;
      for (size_t i = 0; i < kCount; ++i) {
        const double exact = std::min(encodedBy(name, planes.r[i]), 1.0) * largest;
        const int code = bits == 8 ? bytes[3 * i] : bytes[6 * i] | bytes[6 * i + 1] << 8;
        ASSERT_LE(std::abs(code - exact), 0.5 + (bits == 16 ? 1e-3 : 0) + slack * largest)
            << name << planes.r[i];
      }
    }
  }
}

TEST(PixelWriter, ClampsAfterMultiplyingByAlpha) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Row {
    float color, alpha;
    int premultiplied, straight, opaque;
  };
  const Row rows[] = {
      {nan, 1, 0, 0, 0},          {infinity, 1, 255, 255, 255}, {-0.5f, 1, 0, 0, 0},
      {0.5f, 0, 128, 128, 128},   {1, 2, 255, 128, 255},  // 0.5 of light per alpha, encoded, times 2
      {0.25f, 0.5f, 64, 128, 64}, {1, nan, 0, 0, 255},
  };
  const ColorSpacePtr space = ColorSpace::named("linear sRGB");
  for (const Row& row : rows) {
    float r = row.color, g = r, b = r, a = row.alpha;
    uint8_t out[4];
    const auto code = [&](AlphaInfo alpha) {
      PixelWriter(layoutOf(1, 1, 8, 4, alpha), space).write({&r, &g, &b, &a}, 1, out);
      return int{out[0]};
    };
    EXPECT_EQ(code(AlphaInfo::premultipliedLast), row.premultiplied) << row.color << " " << row.alpha;
    EXPECT_EQ(code(AlphaInfo::last), row.straight) << row.color << " " << row.alpha;
    EXPECT_EQ(code(AlphaInfo::noneSkipLast), row.opaque) << row.color << " " << row.alpha;
  }
}

TEST(PixelReader, EncodedAndLinearReadingAgree) {
  const Bitmap sources[] = {
      testing::noise(layoutOf(300, 1, 8, 4, AlphaInfo::premultipliedLast), ColorSpace::named("Display P3")),
      testing::noise(layoutOf(300, 1, 16, 4, AlphaInfo::last), ColorSpace::named("Adobe RGB")),
      testing::noise(layoutOf(300, 1, 8, 4, AlphaInfo::none),
                     ColorSpace::fromProfile(testing::makeCMYKProfile())),
      testing::noise(layoutOf(300, 1, 8, 2, AlphaInfo::last), ColorSpace::named("generic gray")),
  };
  for (const Bitmap& bitmap : sources) {
    for (const ColorSpacePtr& working : {ColorSpacePtr(), ColorSpace::named("Display P3")}) {
      const PixelReader reader(bitmap, working);
      Planes linear(300), encoded(300);
      reader.readLinear(0, 0, 300, linear.run());
      reader.readEncoded(0, 0, 300, encoded.run());
      const Planes stored = encoded;
      reader.linearize(300, encoded.run());
      for (size_t i = 0; i < 300; ++i) {
        const double scale =
            std::max({1.0f, std::abs(linear.r[i]), std::abs(linear.g[i]), std::abs(linear.b[i])});
        ASSERT_NEAR(linear.r[i], encoded.r[i], 2e-6 * scale) << i;
        ASSERT_NEAR(linear.b[i], encoded.b[i], 2e-6 * scale) << i;
      }
      if (bitmap.layout().componentsPerPixel == 2) continue;  // luminance, only for neutral light an inverse
      reader.encode(300, encoded.run());
      for (size_t i = 0; i < 300; ++i) {
        if (stored.g[i] > stored.a[i]) continue;  // far above white the inverse is as good as 32 bits are
        ASSERT_NEAR(stored.g[i], encoded.g[i], 2e-3) << i;
      }
    }
  }
}

// Full scale is 1.
double valueAt(const std::vector<uint8_t>& bytes, int bits, size_t k) {
  if (bits == 8) return bytes[k] / 255.0;
  if (bits == 16) return (bytes[2 * k] | bytes[2 * k + 1] << 8) / 65535.0;
  return std::bit_cast<float>(
      static_cast<uint32_t>(bytes[4 * k] | bytes[4 * k + 1] << 8 | bytes[4 * k + 2] << 16) |
      static_cast<uint32_t>(bytes[4 * k + 3]) << 24);
}

TEST(PixelWriter, EncodedColorIsWrittenAsItsLightIs) {
  const int n = 300;
  const Bitmap source =
      testing::noise(layoutOf(n, 1, 8, 4, AlphaInfo::last), ColorSpace::named("Display P3"));
  const PixelReader reader(source);
  Planes encoded(n), light(n);
  reader.readEncoded(0, 0, n, encoded.run());
  encoded.a[7] = encoded.r[7] = encoded.g[7] = encoded.b[7] = 0;
  std::fill_n(encoded.a.begin() + 20, 40, 1.0f);
  light = encoded;
  reader.linearize(n, light.run());
  for (const int bits : {8, 16, 32})
    for (const AlphaInfo alpha : {AlphaInfo::premultipliedFirst, AlphaInfo::last, AlphaInfo::noneSkipLast}) {
      const PixelWriter writer(layoutOf(n, 1, bits, 4, alpha), source.space());
      std::vector<uint8_t> found(static_cast<size_t>(n * bits / 2)), expected(found.size());
      writer.writeEncoded(encoded.run(), n, found.data());
      writer.write(light.run(), n, expected.data());
      for (size_t k = 0; k < size_t{4} * n; ++k)
        ASSERT_NEAR(valueAt(found, bits, k), valueAt(expected, bits, k), bits == 8 ? 1.01 / 255 : 2e-5)
            << bits << " bits, component " << k;
    }
}

}  // namespace
}  // namespace vello
