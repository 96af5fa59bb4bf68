// The catalogue against a list kept beside this test: names, texts, classes, defaults and ranges are the
// interface.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "engine/catalogue/filter.h"

namespace vello {
namespace {

std::string digits(double v) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", v);
  return text;
}

std::string list(const std::vector<double>& values) {
  std::string text;
  for (double v : values) text += (text.empty() ? "" : ",") + digits(v);
  return text;
}

std::string textOf(const Value& value) {
  if (const CIVector* v = value.vector()) return list(v->values());
  if (const CIColor* c = value.color()) return list({c->red(), c->green(), c->blue(), c->alpha()});
  if (const CGAffineTransform* t = value.transform()) return list({t->a, t->b, t->c, t->d, t->tx, t->ty});
  return digits(value.number());
}

std::string lineOf(const InputAttributes& input) {
  std::string line = "  " + input.key + "|" + input.displayName + "|" + input.className + "|" + input.type;
  if (!input.defaultValue.isNil()) line += " default=" + textOf(input.defaultValue);
  if (!input.identity.isNil()) line += " identity=" + textOf(input.identity);
  const std::pair<const char*, std::optional<double>> numbers[] = {
      {"min", input.min}, {"max", input.max}, {"sliderMin", input.sliderMin}, {"sliderMax", input.sliderMax}};
  for (const auto& [name, number] : numbers)
    if (number) line += std::string(" ") + name + "=" + digits(*number);
  return line;
}

std::vector<std::string> catalogueLines() {
  std::vector<std::string> lines;
  for (const std::string& name : CIFilter::filterNamesInCategory("BuiltIn")) {
    const FilterAttributes& a = *CIFilter::attributesForFilterName(name);
    std::string head = a.name + "|" + a.displayName + "|";
    for (const std::string& c : a.categories) head += (head.back() == '|' ? "" : " ") + c;
    if (a.name.rfind("CI", 0) != 0) continue;  // a test's own
    lines.push_back(head);
    for (const InputAttributes& input : a.inputs) lines.push_back(lineOf(input));
  }
  return lines;
}

TEST(CatalogueTest, IsTheListKeptBesideIt) {
  std::ifstream file(std::string(VELLO_SOURCE_DIR) + "/tests/engine/filters/catalogue.expected");
  ASSERT_TRUE(file);
  std::vector<std::string> expected;
  for (std::string line; std::getline(file, line);) expected.push_back(line);
  const auto actual = catalogueLines();
  for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i)
    ASSERT_EQ(i < actual.size() ? actual[i] : "(nothing)", i < expected.size() ? expected[i] : "(nothing)")
        << "line " << i + 1;
}

TEST(CatalogueTest, CategoriesFilterWithAndWithoutPrefix) {
  const auto plain = CIFilter::filterNamesInCategory("Blur");
  EXPECT_EQ(plain, CIFilter::filterNamesInCategory("CICategoryBlur"));
  EXPECT_NE(std::find(plain.begin(), plain.end(), "CIGaussianBlur"), plain.end());
  EXPECT_TRUE(CIFilter::filterNamesInCategory("NoSuchCategory").empty());
  EXPECT_EQ(CIFilter::localizedNameForCategory("CICategoryColorAdjustment"), "Color Adjustment");
}

}  // namespace
}  // namespace vello
