#include "source/screen/number_format.h"

#include <gtest/gtest.h>

namespace vello {
namespace {

TEST(NumberFormat, ShowsANumberByItsPattern) {
  const struct {
    double value;
    const char *positive, *negative, *shown;
  } rows[] = {
      {25, "#,##0.00", "", "25.00"},
      {0, "#,##0.00", "", "0.00"},
      {0.125, "#,##0.00", "", "0.12"},  // halves to the even digit
      {0.375, "#,##0.00", "", "0.38"},
      {999.996, "#,##0.00", "", "1,000.00"},
      {-1234567.891, "#,##0.00", "", "-1,234,567.89"},
      {-1234.4, "#,##0.00", "-#,##0", "-1,234"},
      {1234.5, "#,##0", "-#,##0", "1,234"},
      {-0.001, "#,##0.00", "", "0.00"},
      {100, "0.0", "", "100.0"},
      {0.1, "", "", "0.1"},
      {1e22, "#,##0", "", "10,000,000,000,000,000,000,000"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(formattedNumber(row.value, row.positive, row.negative), row.shown) << row.value;
}

TEST(NumberFormat, BothDecimalSignsAreUnderstood) {
  const struct {
    const char* typed;
    std::optional<double> number;
  } rows[] = {
      {"12.5", 12.5},
      {"12,5", 12.5},
      {" -0,25 ", -0.25},
      {"+3", 3},
      {",5", 0.5},
      {"7,", 7},
      {"0,123", 0.123},
      {"1234,567", 1234.567},
      {"1,234", 1234},  // as it is shown
      {"-1,234", -1234},
      {"1.234", 1.234},
      {"1,234.56", 1234.56},
      {"1.234,56", 1234.56},
      {"1,234,567", 1234567},
      {"1.234.567", 1234567},
      {"1.234.567,8", 1234567.8},
      {"1 234,5", 1234.5},
      {"1\u202F234\u00A0567", 1234567},
      {"\u22125", -5},
      {"1e3", 1000},
      {"", {}},
      {"abc", {}},
      {"5 px", {}},
      {"1,23,456", {}},
      {"1.2.3", {}},
      {"1,234 567", {}},
      {"1 5", {}},
      {",", {}},
      {"--5", {}},
  };
  for (const auto& row : rows) EXPECT_EQ(typedNumber(row.typed), row.number) << row.typed;
}

TEST(NumberFormat, WhatIsShownIsReadBack) {
  for (const double value : {0.0, 0.05, -0.05, 999.99, -1000.0, 1234.5, 70000.25, -65535.0, 12345678.0})
    for (const char* negative : {"", "-#,##0"}) {
      const bool whole = value < 0 && *negative;
      EXPECT_EQ(typedNumber(formattedNumber(value, "#,##0.00", negative)),
                whole ? double(int(value)) : value);
    }
}

}  // namespace
}  // namespace vello
