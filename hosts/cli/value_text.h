// Values of filter inputs between the command line and the engine: as they are typed, shown and put in JSON.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/attributes.h"

namespace vello::cli {

// Numbers between commas, or nothing when one of them is none.
std::optional<std::vector<double>> parseNumbers(std::string_view text);

struct ParsedValue {
  Value value;
  std::string error;  // empty on success; else one sentence without the input's name
  bool ok() const { return error.empty(); }
};

// A number, "x,y[,z,w]", "r,g,b[,a]" or "#rrggbb[aa]", "a,b,c,d,tx,ty", text, or "@file" for raw bytes,
// whichever the input takes. Requires an input that takes no image.
ParsedValue parseValue(const InputAttributes& input, std::string_view text);

// What an input takes, for help and errors: "a number", "a colour r,g,b[,a] or #rrggbb[aa]".
std::string expectedForm(const InputAttributes& input);

// The value as it would be typed; empty for nil, images and raw bytes.
std::string valueText(const Value& value);
// Its numbers: one for a number, as many as a vector has, four of a colour, six of a transform, else none.
std::vector<double> numbersOf(const Value& value);

}  // namespace vello::cli
