#include "platform/number_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using namespace vello;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

bool same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

TEST(NumberText, WritesTheShortestDigits) {
  const struct {
    double value;
    const char* text;
  } kRows[] = {{0, "0"},
               {-0.0, "-0"},
               {1, "1"},
               {0.5, "0.5"},
               {0.1, "0.1"},
               {0.1f, "0.10000000149011612"},
               {1e21, "1e+21"},
               {-1234.5, "-1234.5"},
               {5e-324, "5e-324"},
               {kNan, "nan"},
               {-kNan, "nan"},
               {kInf, "+infinity"},
               {-kInf, "-infinity"}};
  for (const auto& row : kRows) EXPECT_EQ(numberText(row.value), row.text);
}

TEST(NumberText, EveryDoubleReadsBack) {
  std::mt19937_64 bits(7);
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(bits());
    const auto back = parseNumber(numberText(value));
    ASSERT_TRUE(back && same(*back, value)) << numberText(value);
  }
}

TEST(NumberText, ReadsAWholeTextAsOneNumber) {
  const std::string zeros(400, '0');
  const struct {
    std::string text;
    double value;
  } kRows[] = {{"1", 1},
               {" \t+2.5\n", 2.5},
               {"-0", -0.0},
               {".5", 0.5},
               {"1.", 1},
               {"1E3", 1000},
               {"0x10", 16},
               {"-0X1f", -31},
               {"nan", kNan},
               {"Inf", kInf},
               {"+infinity", kInf},
               {"-INF", -kInf},
               {"1e400", kInf},
               {"-1e400", -kInf},
               {"1e-400", 0},
               {"1e99999999999999999999", kInf},
               {"1e-99999999999999999999", 0},
               {"0." + zeros + "1e5", 0},
               {"0." + zeros + "1e+402", 10},
               {"1" + zeros + "e-5", kInf}};
  for (const auto& row : kRows) {
    const auto value = parseNumber(row.text);
    EXPECT_TRUE(value && same(*value, row.value)) << row.text << " read as " << value.value_or(kNan);
  }
}

TEST(NumberText, RefusesWhatIsNotWhollyANumber) {
  for (const char* text : {"", " ", "+", "-", ".", "e5", "1,5", "1 2", "1.5px", "--1", "+-1", "0x", "0xg",
                           "0x1p3", "0x10000000000000000", "nan(1)", "infinite", "1e", "\xD9\xA1"}) {
    EXPECT_FALSE(parseNumber(text)) << text;
  }
}

TEST(NumberText, LeadingNumberIsZeroWhereThereIsNone) {
  const struct {
    const char* text;
    double value;
  } kRows[] = {{"12px", 12},   {" -3.5 , 4", -3.5}, {"1e", 1},       {"1,5", 1},    {"px", 0},
               {"", 0},        {"nancy", 0},        {"infinite", 0}, {"inf", kInf}, {"0x10", 16},
               {"0x10 px", 0}, {"+1e400x", kInf}};
  for (const auto& row : kRows) EXPECT_TRUE(same(leadingNumber(row.text), row.value)) << row.text;
}

}  // namespace
