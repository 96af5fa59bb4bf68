#include "source/parameters/number_rounding.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vello {
namespace {

TEST(NumberRounding, TiesGoTowardZeroInDecimal) {
  const struct {
    const char* name;
    float value;
    int digits;
    double expected;
  } rows[] = {
      {"below one half", 1.23444f, 3, 1.234},
      {"above one half", 1.23456f, 3, 1.235},
      {"a tie", 0.0125f, 3, 0.012},
      {"a negative tie", -0.0125f, 3, -0.012},
      {"a tie that the binary number lies above", 1.0005f, 3, 1},
      {"just above a tie", 0.01250001f, 3, 0.013},
      {"carry through nines", 9.9996f, 3, 10},
      {"negative carry", -99.99999f, 1, -100},
      {"no digits allowed", 2.5f, 0, 2},
      {"no digits allowed, above one half", 2.51f, 0, 3},
      {"tiny", 1e-30f, 3, 0},
      {"huge", 1e30f, 3, double{1e30f}},
      {"the single nearest to a decimal gives the decimal", 0.1f, 3, 0.1},
      {"infinite", -INFINITY, 3, -INFINITY},
  };
  for (const auto& row : rows) EXPECT_EQ(numberWithFloat(row.value, row.digits), row.expected) << row.name;
  EXPECT_TRUE(std::isnan(numberWithFloat(NAN, 3)));
}

}  // namespace
}  // namespace vello
