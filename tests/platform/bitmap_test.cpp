#include "platform/bitmap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/platform/test_images.h"

namespace vello {
namespace {

using testing::layoutOf;

TEST(CheckLayout, SaysWhatIsWrong) {
  constexpr int64_t kHuge = std::numeric_limits<int64_t>::max() / 2;
  PixelLayout tight = layoutOf(4, 4, 8, 4, AlphaInfo::last), wide = tight, flat = tight, half = tight;
  PixelLayout intFloat = layoutOf(4, 4, 32, 3, AlphaInfo::none);
  tight.bytesPerRow = 15;
  wide.width = kHuge, wide.bytesPerRow = kHuge;
  flat.height = kHuge;
  half.isFloat = true;
  intFloat.isFloat = false;
  const std::pair<PixelLayout, const char*> rows[] = {
      {layoutOf(0, 4, 8, 4, AlphaInfo::last), "empty"},
      {layoutOf(4, -1, 8, 4, AlphaInfo::last), "empty"},
      {layoutOf(4, 4, 12, 4, AlphaInfo::last), "12 bits"},
      {half, "floating point"},
      {intFloat, "integers"},
      {layoutOf(4, 4, 8, 2, AlphaInfo::none), "2 components"},
      {layoutOf(4, 4, 8, 6, AlphaInfo::last), "6 components"},
      {layoutOf(4, 4, 8, 1, AlphaInfo::last), "1 components"},
      {layoutOf(4, 4, 8, 4, static_cast<AlphaInfo>(9)), "alpha kind 9"},
      {tight, "bytes per row"},
      {wide, "bytes per row"},
      {flat, "too few"},
  };
  for (const auto& row : rows) {
    EXPECT_THAT(checkLayout(row.first, 64).value_or("nothing"), ::testing::HasSubstr(row.second));
  }
}

TEST(CheckLayout, TheLastRowNeedsNoPadding) {
  PixelLayout layout = layoutOf(4, 4, 8, 3, AlphaInfo::none);
  layout.bytesPerRow = 16;
  EXPECT_EQ(checkLayout(layout, 3 * 16 + 12), std::nullopt);
  EXPECT_NE(checkLayout(layout, 3 * 16 + 11), std::nullopt);
}

TEST(Bitmap, CopiesAreTheSamePictureAndOthersAreNot) {
  const PixelLayout layout = layoutOf(1, 1, 8, 3, AlphaInfo::none);
  const Bitmap a(layout, nullptr, Data({1, 2, 3})), b(layout, nullptr, Data({1, 2, 3}));
  Bitmap copy = b;
  copy = a;
  EXPECT_EQ(a.serial(), copy.serial());
  EXPECT_NE(a.serial(), b.serial());
  EXPECT_EQ(a.space(), ColorSpace::sRGB());
}

}  // namespace
}  // namespace vello
