#include "source/parameters/number_rounding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vello {
namespace {

TEST(NumberRounding, TiesGoTowardZeroInDecimal) {
  struct Row {
    const char* name;
    float value;
    int digits;
    double expected;
  };
  const Row rows[] = {
      {"below one half", 1.23444f, 3, 1.234},
      {"above one half", 1.23456f, 3, 1.235},
      {"a tie", 0.0125f, 3, 0.012},
      {"a negative tie", -0.0125f, 3, -0.012},
      {"a tie that the binary number lies above", 1.0005f, 3, 1.0},
      {"just above a tie", 0.01250001f, 3, 0.013},
      {"carry through nines", 9.9996f, 3, 10},
      {"negative carry", -99.99999f, 1, -100},
      {"fewer digits than allowed", 0.5f, 3, 0.5},
      {"no digits allowed", 2.5f, 0, 2},
      {"no digits allowed, above one half", 2.51f, 0, 3},
      {"whole", 5, 3, 5},
      {"tiny", 1e-30f, 3, 0},
      {"huge", 1e30f, 3, 1e30},
      {"the single nearest to a decimal gives the decimal", 0.1f, 3, 0.1},
  };
  // What is rounded is a decimal text: 1e30f has exact digits, so it is compared as the single it is.
  for (const Row& row : rows)
    EXPECT_FLOAT_EQ(static_cast<float>(numberWithFloat(row.value, row.digits)),
                    static_cast<float>(row.expected))
        << row.name;
  EXPECT_EQ(numberWithFloat(0.1f, 3), 0.1);
  EXPECT_EQ(numberWithFloat(1.23456f, 3), 1.235);
}

TEST(NumberRounding, WhatIsNoNumberStays) {
  EXPECT_TRUE(std::isnan(numberWithFloat(std::numeric_limits<float>::quiet_NaN(), 3)));
  EXPECT_EQ(numberWithFloat(-INFINITY, 3), -INFINITY);
}

}  // namespace
}  // namespace vello
