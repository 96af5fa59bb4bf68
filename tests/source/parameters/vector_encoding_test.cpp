#include "source/parameters/vector_encoding.h"

#include <gtest/gtest.h>

namespace vello {
namespace {

CGRect rect(double x, double y, double w, double h) { return {{x, y}, {w, h}}; }

PropertyListDictionary dictionary(std::initializer_list<std::pair<const char*, PropertyList>> members) {
  PropertyListDictionary result;
  for (const auto& [key, value] : members) result.set(key, value);
  return result;
}

double single(double v) { return static_cast<float>(v); }

TEST(VectorEncoding, IsRelativeToTheImageRectangle) {
  struct Row {
    const char* name;
    CIVector vector;
    CGRect writtenFor;
    PropertyListDictionary written;
    CGRect readFor;
    CIVector read;
  };
  const Row rows[] = {
      {"position",
       {150, 150},
       rect(0, 0, 600, 300),
       dictionary({{"X", 0.25}, {"Y", 0.5}}),
       rect(0, 0, 1200, 600),
       {300, 300}},
      {"position, origin off zero",
       {110, 120},
       rect(100, 100, 40, 40),
       dictionary({{"X", 0.25}, {"Y", 0.5}}),
       rect(-20, 0, 40, 80),
       {-10, 40}},
      {"z is not scaled",
       {150, 150, 70},
       rect(0, 0, 600, 300),
       dictionary({{"X", 0.25}, {"Y", 0.5}, {"Z", 70.0}}),
       rect(0, 0, 1200, 600),
       {300, 300, 70}},
      {"rectangle",
       {10, 20, 100, 50},
       rect(0, 0, 200, 100),
       dictionary({{"X", single(0.05)}, {"Y", single(0.2)}, {"W", 0.5}, {"H", 0.5}}),
       rect(0, 0, 200, 100),
       {10, 20, 100, 50}},
      {"sizes ignore the origin",
       {10, 20, 100, 50},
       rect(100, 100, 200, 100),
       dictionary({{"X", single(-0.45)}, {"Y", single(-0.8)}, {"W", 0.5}, {"H", 0.5}}),
       rect(100, 100, 200, 100),
       {single(single(-0.45) * 200 + 100), single(single(-0.8) * 100 + 100), 100, 50}},
      {"one component", {7}, rect(0, 0, 2, 2), {}, rect(0, 0, 2, 2), {0, 0, 0, 0}},
      {"five components", {1, 2, 3, 4, 5}, rect(0, 0, 2, 2), {}, rect(0, 0, 2, 2), {0, 0, 0, 0}},
  };
  for (const Row& row : rows) {
    const PropertyListDictionary written = vectorValue(row.vector, row.writtenFor);
    EXPECT_EQ(PropertyList(written), PropertyList(row.written)) << row.name;
    EXPECT_EQ(vectorWithValue(written, row.readFor), row.read) << row.name;
  }
}

TEST(VectorEncoding, ReadsSinglesFromWhateverIsThere) {
  struct Row {
    const char* name;
    PropertyListDictionary value;
    CIVector read;
  };
  const CGRect image = rect(10, 20, 100, 200);
  const Row rows[] = {
      {"rounded to single both ways",
       dictionary({{"X", 0.1}, {"Y", 1.0 / 3}}),
       {single(single(0.1) * 100 + 10), single(single(1.0 / 3) * 200 + 20)}},
      {"integers and booleans", dictionary({{"X", 2}, {"Y", true}}), {210, 220}},
      {"text is no number", dictionary({{"X", "0.5"}, {"Y", 0.5}}), {10, 120}},
      {"other keys count for the kind and read as 0",
       dictionary({{"A", 1.0}, {"B", 1.0}, {"C", 1.0}}),
       {10, 20, 0}},
      {"one entry", dictionary({{"X", 0.5}}), {0, 0, 0, 0}},
      {"five entries",
       dictionary({{"X", 1.0}, {"Y", 1.0}, {"W", 1.0}, {"H", 1.0}, {"Z", 1.0}}),
       {0, 0, 0, 0}},
  };
  for (const Row& row : rows) EXPECT_EQ(vectorWithValue(row.value, image), row.read) << row.name;
}

}  // namespace
}  // namespace vello
