#include "source/core/stack/control_kind.h"

#include <cmath>

namespace vello {
namespace {

enum class When { always, typeIs, fullTurn, notFromStack };

struct ControlRow {
  std::string_view className;
  When when;
  std::string_view type;
  ControlKind kind;
};

// The first row that fits decides.
constexpr ControlRow kControls[] = {
    {"NSNumber", When::fullTurn, "Angle", ControlKind::dial},
    {"NSNumber", When::typeIs, "Boolean", ControlKind::checkbox},
    {"NSNumber", When::always, "", ControlKind::slider},
    {"CIImage", When::notFromStack, "", ControlKind::image},
    {"CIColor", When::always, "", ControlKind::color},
    {"CIVector", When::typeIs, "", ControlKind::vector4D},
    {"CIVector", When::typeIs, "Position", ControlKind::vector2D},
    {"CIVector", When::typeIs, "Rectangle", ControlKind::rect},
    {"CIVector", When::typeIs, "Position3", ControlKind::vector3D},
    {"CIVector", When::typeIs, "Offset", ControlKind::offset},
    {"NSAffineTransform", When::always, "", ControlKind::transform},
};

bool isFullTurn(const InputAttributes& input) {
  const float range =
      static_cast<float>(input.sliderMax.value_or(0)) - static_cast<float>(input.sliderMin.value_or(0));
  return std::abs(6.2831853f - range) < 0.01f;  // the short constant is deliberate: it is not two pi
}

// The stack supplies the background, and the foreground too unless the filter takes a background: then a
// control chooses the foreground.
bool isFromStack(const FilterAttributes& filter, const InputAttributes& input) {
  if (input.key == kCIInputBackgroundImageKey) return true;
  return input.key == kCIInputImageKey && !hasImageInput(filter, kCIInputBackgroundImageKey);
}

bool fits(const ControlRow& row, const FilterAttributes& filter, const InputAttributes& input) {
  if (row.className != input.className) return false;
  switch (row.when) {
    case When::always:
      return true;
    case When::typeIs:
      return row.type == input.type;
    case When::fullTurn:
      return row.type == input.type && isFullTurn(input);
    case When::notFromStack:
      return !isFromStack(filter, input);
  }
  return false;
}

}  // namespace

bool hasImageInput(const FilterAttributes& filter, std::string_view key) {
  const InputAttributes* input = filter.input(key);
  return input && input->className == "CIImage";
}

ControlKind controlKind(const FilterAttributes& filter, const InputAttributes& input) {
  for (const ControlRow& row : kControls)
    if (fits(row, filter, input)) return row.kind;
  return ControlKind::none;
}

}  // namespace vello
