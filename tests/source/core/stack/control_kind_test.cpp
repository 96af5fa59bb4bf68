#include "source/core/stack/control_kind.h"

#include <gtest/gtest.h>

namespace vello {
namespace {

constexpr double kPi = 3.141592653589793;

struct Row {
  const char* name;
  const char* className;
  const char* type;
  const char* key;
  double sliderMin, sliderMax;
  bool takesBackground;
  ControlKind kind;
};

const Row kRows[] = {
    {"a time", "NSNumber", "Time", "inputTime", 0, 1, false, ControlKind::slider},
    {"a count", "NSNumber", "Count", "inputCount", 0, 1, false, ControlKind::slider},
    {"a number without a type", "NSNumber", "", "inputA", 0, 1, false, ControlKind::slider},
    {"a boolean", "NSNumber", "Boolean", "inputOn", 0, 1, false, ControlKind::checkbox},
    {"an angle of a full turn", "NSNumber", "Angle", "inputAngle", -kPi, kPi, false, ControlKind::dial},
    {"an angle of nearly a full turn", "NSNumber", "Angle", "inputAngle", 0, 6.275, false, ControlKind::dial},
    {"an angle of a little less", "NSNumber", "Angle", "inputAngle", 0, 6.27, false, ControlKind::slider},
    {"an angle of half a turn", "NSNumber", "Angle", "inputAngle", 0, kPi, false, ControlKind::slider},
    {"an angle of two turns", "NSNumber", "Angle", "inputAngle", -2 * kPi, 2 * kPi, false,
     ControlKind::slider},
    {"a full turn that is no angle", "NSNumber", "Scalar", "inputA", -kPi, kPi, false, ControlKind::slider},
    {"the image below", "CIImage", "Image", "inputImage", 0, 0, false, ControlKind::none},
    {"a foreground", "CIImage", "Image", "inputImage", 0, 0, true, ControlKind::image},
    {"a background", "CIImage", "Image", "inputBackgroundImage", 0, 0, true, ControlKind::none},
    {"a gradient image", "CIImage", "Gradient", "inputGradientImage", 0, 0, false, ControlKind::image},
    {"a colour", "CIColor", "OpaqueColor", "inputColor", 0, 0, false, ControlKind::color},
    {"a vector without a type", "CIVector", "", "inputRVector", 0, 0, false, ControlKind::vector4D},
    {"a position", "CIVector", "Position", "inputCenter", 0, 0, false, ControlKind::vector2D},
    {"a rectangle", "CIVector", "Rectangle", "inputExtent", 0, 0, false, ControlKind::rect},
    {"a place in space", "CIVector", "Position3", "inputLight", 0, 0, false, ControlKind::vector3D},
    {"an offset", "CIVector", "Offset", "inputOffset", 0, 0, false, ControlKind::offset},
    {"a vector of an unknown type", "CIVector", "Color", "inputV", 0, 0, false, ControlKind::none},
    {"a transform", "NSAffineTransform", "", "inputTransform", 0, 0, false, ControlKind::transform},
    {"a text", "NSString", "", "inputText", 0, 0, false, ControlKind::none},
};

TEST(ControlKind, EveryClassAndTypeHasItsControl) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    InputAttributes input;
    input.key = row.key;
    input.className = row.className;
    input.type = row.type;
    input.sliderMin = row.sliderMin;
    input.sliderMax = row.sliderMax;
    FilterAttributes filter;
    filter.inputs = {input};
    if (row.takesBackground && input.key != kCIInputBackgroundImageKey) {
      InputAttributes background;
      background.key = kCIInputBackgroundImageKey;
      background.className = "CIImage";
      filter.inputs.push_back(background);
    }
    EXPECT_EQ(controlKind(filter, input), row.kind);
  }
}

}  // namespace
}  // namespace vello
