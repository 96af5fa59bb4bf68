// What a filter and its inputs say of themselves. The texts are the platform's own.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/value.h"

namespace vello {

inline constexpr const char* kCIInputImageKey = "inputImage";
inline constexpr const char* kCIInputBackgroundImageKey = "inputBackgroundImage";
inline constexpr const char* kCIOutputImageKey = "outputImage";

struct InputAttributes {
  std::string key;          // "inputRadius"
  std::string displayName;  // "Radius"
  std::string className;    // "NSNumber", "CIVector", "CIColor", "CIImage", "NSAffineTransform", "NSString",
                            // "NSData", ...
  std::string
      type;  // "Scalar", "Distance", "Angle", "Time", "Boolean", "Integer", "Count", "Position",
             // "Position3", "Offset", "Rectangle", "Color", "OpaqueColor", "Image", "Gradient"; or empty
  Value defaultValue;  // nil when there is none
  Value identity;
  std::optional<double> min, max, sliderMin, sliderMax;
};

struct FilterAttributes {
  std::string name;                     // "CIGaussianBlur"
  std::string displayName;              // "Gaussian Blur"
  std::vector<std::string> categories;  // without prefix: "Blur", "StillImage", ...
  std::vector<InputAttributes> inputs;  // in the platform's order
  bool stepped = false;                 // a last-bit difference may flip a pixel (floor, threshold, nearest)

  const InputAttributes* input(std::string_view key) const;
  // `category` with or without its "CICategory" prefix.
  bool isInCategory(std::string_view category) const;
};

}  // namespace vello
