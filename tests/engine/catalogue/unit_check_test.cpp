// What an image unit may say of itself, and how its filters come into the catalogue.
#include "engine/catalogue/unit_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "engine/catalogue/plugin.h"
#include "engine/catalogue/registry.h"
#include "engine/catalogue/unit_filter.h"

namespace vello {
namespace {

void copyRun(const void*, const VelloUnitSamples*, VelloUnitPlaces, VelloUnitSamples, int32_t) {}

// A unit with one good filter, for a row to spoil.
struct Unit {
  VelloUnitInput inputs[2] = {
      {"inputAmount", "Amount", VELLO_UNIT_NUMBER, "Scalar", 1, {0.5}, 0, 1, 0, 1},
      {"inputCenter", "Center", VELLO_UNIT_VECTOR, "Position", 2, {1, 2}, VELLO_UNIT_UNLIMITED}};
  VelloUnitFilter filter = {"TestUnitFilter",
                            "Test",
                            "ColorEffect StillImage",
                            VELLO_UNIT_POINT,
                            VELLO_UNIT_FOLLOWS,
                            0,
                            "inputCenter",
                            inputs,
                            2,
                            8,
                            nullptr,
                            copyRun};
  VelloImageUnit unit = {VELLO_IMAGE_UNIT_VERSION, "Test", &filter, 1};
};

struct Spoiled {
  const char* name;
  std::function<void(Unit&)> spoil;
};

const Spoiled kSpoiled[] = {
    {"version", [](Unit& u) { u.unit.version = 2; }},
    {"no filters", [](Unit& u) { u.unit.filter_count = 0; }},
    {"too many filters", [](Unit& u) { u.unit.filter_count = VELLO_UNIT_FILTERS + 1; }},
    {"missing filters", [](Unit& u) { u.unit.filters = nullptr; }},
    {"no name", [](Unit& u) { u.filter.name = nullptr; }},
    {"name with a blank", [](Unit& u) { u.filter.name = "Test Filter"; }},
    {"no display name", [](Unit& u) { u.filter.display_name = ""; }},
    {"categories", [](Unit& u) { u.filter.categories = "Color-Effect"; }},
    {"kind", [](Unit& u) { u.filter.kind = 7; }},
    {"pitch", [](Unit& u) { u.filter.pitch = 3; }},
    {"no run", [](Unit& u) { u.filter.run = nullptr; }},
    {"parameter block", [](Unit& u) { u.filter.parameter_bytes = VELLO_UNIT_PARAMETER_BYTES + 1; }},
    {"negative inputs", [](Unit& u) { u.filter.input_count = -1; }},
    {"too many inputs", [](Unit& u) { u.filter.input_count = VELLO_UNIT_INPUTS + 1; }},
    {"missing inputs", [](Unit& u) { u.filter.inputs = nullptr; }},
    {"anchor that is no position", [](Unit& u) { u.filter.anchor = "inputAmount"; }},
    {"anchor that is no input", [](Unit& u) { u.filter.anchor = "inputPlace"; }},
    {"key", [](Unit& u) { u.inputs[0].key = "amount"; }},
    {"key of the image", [](Unit& u) { u.inputs[0].key = "inputImage"; }},
    {"key twice", [](Unit& u) { u.inputs[0].key = "inputCenter"; }},
    {"input without display name", [](Unit& u) { u.inputs[0].display_name = nullptr; }},
    {"class", [](Unit& u) { u.inputs[0].input_class = 9; }},
    {"type of another class", [](Unit& u) { u.inputs[0].type = "Color"; }},
    {"no type", [](Unit& u) { u.inputs[0].type = nullptr; }},
    {"components", [](Unit& u) { u.inputs[1].count = 3; }},
    {"default that is no number", [](Unit& u) { u.inputs[1].initial[1] = NAN; }},
    {"range", [](Unit& u) { u.inputs[0].minimum = 2; }},
    {"default out of range", [](Unit& u) { u.inputs[0].initial[0] = 1.5; }},
    {"slider", [](Unit& u) { u.inputs[0].slider_minimum = 2; }},
    {"infinite slider", [](Unit& u) { u.inputs[0].slider_maximum = INFINITY; }},
};

TEST(UnitCheck, PassesAGoodUnitAndRefusesEachFault) {
  EXPECT_EQ(checkImageUnit(Unit().unit), "");
  for (const Spoiled& row : kSpoiled) {
    Unit unit;
    row.spoil(unit);
    EXPECT_NE(checkImageUnit(unit.unit), "") << row.name;
  }
}

TEST(UnitFilter, BecomesARowWithItsImageFirst) {
  static Unit unit;
  static const UnitFilter filter(unit.filter);
  ASSERT_TRUE(registerFilter(filter.row()));
  EXPECT_FALSE(registerFilter(filter.row())) << "the name is taken";
  const auto entry = findFilter("TestUnitFilter");
  ASSERT_TRUE(entry);
  const FilterAttributes& attributes = entry->attributes;
  ASSERT_EQ(attributes.inputs.size(), 3u);
  EXPECT_EQ(attributes.inputs[0].key, "inputImage");
  EXPECT_EQ(attributes.inputs[1].max, 1.0);
  EXPECT_EQ(attributes.inputs[1].defaultValue, Value(0.5));
  EXPECT_EQ(attributes.inputs[2].type, "Position");
  EXPECT_EQ(attributes.inputs[2].max, std::nullopt);
  EXPECT_TRUE(attributes.isInCategory("CICategoryColorEffect"));
}

TEST(PlugIn, NamesTheFileItCannotLoad) {
  EXPECT_NE(CIPlugIn::loadPlugIn("/no/such/unit.so").find("/no/such/unit.so"), std::string::npos);
  EXPECT_NE(CIPlugIn::loadPlugIn("/dev/null").find("/dev/null"), std::string::npos);
}

}  // namespace
}  // namespace vello
