// Which control edits an input, and so which inputs a filter chain carries.
#pragma once

#include "engine/catalogue/attributes.h"

namespace vello {

enum class ControlKind {
  none,
  slider,
  dial,
  checkbox,
  color,
  image,
  vector2D,
  vector3D,
  vector4D,
  offset,
  rect,
  transform,
};

// True when the filter has an image input of that name.
bool hasImageInput(const FilterAttributes& filter, std::string_view key);
// `none` for an input that the stack supplies or that no control can edit.
ControlKind controlKind(const FilterAttributes& filter, const InputAttributes& input);

}  // namespace vello
