#include "source/parameters/vector_encoding.h"

#include <gtest/gtest.h>

#include "tests/source/geometry/geometry_printing.h"

namespace vello {
namespace {

using Members = std::vector<std::pair<const char*, PropertyList>>;

PropertyListDictionary dictionary(const Members& members) {
  PropertyListDictionary result;
  for (const auto& [key, value] : members) result.set(key, value);
  return result;
}

double single(double v) { return static_cast<float>(v); }

TEST(VectorEncoding, IsRelativeToTheImageRectangle) {
  const CGRect image = rect(0, 0, 600, 300), twice = rect(0, 0, 1200, 600), off = rect(100, 100, 200, 100);
  const struct {
    const char* name;
    CIVector vector;
    CGRect writtenFor;
    Members written;
    CGRect readFor;
    CIVector read;
  } rows[] = {
      {"position", {150, 150}, image, {{"X", 0.25}, {"Y", 0.5}}, twice, {300, 300}},
      {"other origins",
       {110, 120},
       rect(100, 100, 40, 40),
       {{"X", 0.25}, {"Y", 0.5}},
       rect(-20, 0, 40, 80),
       {-10, 40}},
      {"z is not scaled",
       {150, 150, 70},
       image,
       {{"X", 0.25}, {"Y", 0.5}, {"Z", 70.0}},
       twice,
       {300, 300, 70}},
      {"sizes ignore the origin",
       {125, 150, 100, 25},
       off,
       {{"X", 0.125}, {"Y", 0.5}, {"W", 0.5}, {"H", 0.25}},
       image,
       {75, 150, 300, 75}},
      {"one component", {7}, image, {}, image, {0, 0, 0, 0}},
      {"five components", {1, 2, 3, 4, 5}, image, {}, image, {0, 0, 0, 0}},
  };
  for (const auto& row : rows) {
    const PropertyListDictionary written = vectorValue(row.vector, row.writtenFor);
    EXPECT_EQ(written, dictionary(row.written)) << row.name;
    EXPECT_EQ(vectorWithValue(written, row.readFor), row.read) << row.name;
  }
  EXPECT_EQ(vectorValue({10, 20}, rect(0, 0, 100, 100)),
            dictionary({{"X", single(0.1)}, {"Y", single(0.2)}}));
}

TEST(VectorEncoding, ReadsSinglesFromWhateverIsThere) {
  const struct {
    const char* name;
    Members value;
    CIVector read;
  } rows[] = {
      {"single precision", {{"X", 0.1}, {"Y", 0.5}}, {single(single(0.1) * 100 + 10), 120}},
      {"integers and booleans", {{"X", 2}, {"Y", true}}, {210, 220}},
      {"text is no number", {{"X", "0.5"}, {"Y", 0.5}}, {10, 120}},
      {"other keys read as 0", {{"A", 1.0}, {"B", 1.0}, {"C", 1.0}}, {10, 20, 0}},
      {"one entry", {{"X", 0.5}}, {0, 0, 0, 0}},
      {"five entries", {{"X", 1.0}, {"Y", 1.0}, {"W", 1.0}, {"H", 1.0}, {"Z", 1.0}}, {0, 0, 0, 0}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(vectorWithValue(dictionary(row.value), rect(10, 20, 100, 200)), row.read) << row.name;
}

}  // namespace
}  // namespace vello
