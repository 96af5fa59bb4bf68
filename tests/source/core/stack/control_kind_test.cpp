#include "source/core/stack/control_kind.h"

#include <gtest/gtest.h>

namespace vello {
namespace {

constexpr double kPi = 3.141592653589793;

TEST(ControlKind, EveryClassAndTypeHasItsControl) {
  const struct {
    const char *name, *className, *type, *key;
    ControlKind kind;
    double sliderMin = 0, sliderMax = 1;
    bool takesBackground = false;
  } rows[] = {
      {"a time", "NSNumber", "Time", "inputTime", ControlKind::slider},
      {"a count", "NSNumber", "Count", "inputCount", ControlKind::slider},
      {"a number without a type", "NSNumber", "", "inputA", ControlKind::slider},
      {"a boolean", "NSNumber", "Boolean", "inputOn", ControlKind::checkbox},
      {"a full turn", "NSNumber", "Angle", "inputAngle", ControlKind::dial, -kPi, kPi},
      {"nearly a full turn", "NSNumber", "Angle", "inputAngle", ControlKind::dial, 0, 6.275},
      {"a little less", "NSNumber", "Angle", "inputAngle", ControlKind::slider, 0, 6.27},
      {"two turns", "NSNumber", "Angle", "inputAngle", ControlKind::slider, -2 * kPi, 2 * kPi},
      {"a full turn that is no angle", "NSNumber", "Scalar", "inputA", ControlKind::slider, -kPi, kPi},
      {"the image below", "CIImage", "Image", "inputImage", ControlKind::none},
      {"a foreground", "CIImage", "Image", "inputImage", ControlKind::image, 0, 0, true},
      {"a background", "CIImage", "Image", "inputBackgroundImage", ControlKind::none, 0, 0, true},
      {"a gradient image", "CIImage", "Gradient", "inputGradientImage", ControlKind::image},
      {"a colour", "CIColor", "OpaqueColor", "inputColor", ControlKind::color},
      {"a vector without a type", "CIVector", "", "inputRVector", ControlKind::vector4D},
      {"a position", "CIVector", "Position", "inputCenter", ControlKind::vector2D},
      {"a rectangle", "CIVector", "Rectangle", "inputExtent", ControlKind::rect},
      {"a place in space", "CIVector", "Position3", "inputLight", ControlKind::vector3D},
      {"an offset", "CIVector", "Offset", "inputOffset", ControlKind::offset},
      {"a vector of an unknown type", "CIVector", "Color", "inputV", ControlKind::none},
      {"a transform", "NSAffineTransform", "", "inputTransform", ControlKind::transform},
      {"a text", "NSString", "", "inputText", ControlKind::none},
  };
  for (const auto& row : rows) {
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
