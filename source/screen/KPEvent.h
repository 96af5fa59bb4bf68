// What the user did with mouse or keyboard, as the screen reports it and tests send it.
#pragma once

#include <cstdint>
#include <string>

#include "source/screen/KPView.h"

namespace vello {

enum class KPEventType {
  LeftMouseDown,
  LeftMouseDragged,
  LeftMouseUp,
  MouseMoved,
  MouseEntered,
  MouseExited,
  FlagsChanged,  // a modifier key went down or up
  KeyDown,
};

inline constexpr uint32_t kShiftKeyMask = 1u << 17;
inline constexpr uint32_t kOptionKeyMask = 1u << 19;
inline constexpr uint32_t kCommandKeyMask = 1u << 20;

struct KPEvent {
  KPEventType type = KPEventType::MouseMoved;
  CGPoint locationInWindow;
  uint32_t modifierFlags = 0;
  double timestamp = 0;  // seconds on the run loop's clock
  int clickCount = 0;
  std::string characters = {};  // of KeyDown, UTF-8

  bool shiftKeyDown() const { return modifierFlags & kShiftKeyMask; }
  bool optionKeyDown() const { return modifierFlags & kOptionKeyMask; }
  bool cmdKeyDown() const { return modifierFlags & kCommandKeyMask; }
  bool shiftOrCmdKeyDown() const { return shiftKeyDown() || cmdKeyDown(); }
  // In the coordinates of a view of the event's window.
  CGPoint viewPoint(const KPView& view) const { return view.convertPointFromView(locationInWindow, nullptr); }
};

}  // namespace vello
