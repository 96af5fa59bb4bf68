// A program and its parts, for a person to read.
#pragma once

#include <string>

#include "engine/plan/parts.h"

namespace vello {

// Part by part, one line a step, inputs first, with what is computed together and what is kept between.
std::string explanation(Program& program, std::vector<Part>& parts);

}  // namespace vello
