// The cursors, by name; the screen knows their pictures.
#pragma once

namespace vello {

enum class KPCursor {
  arrowCursor,
  pointingHandCursor,
  closedHandCursor,
  // For rectangle handles: north-south, east-west and the two diagonals, as seen on the screen.
  resizeNSCursor,
  resizeEWCursor,
  resizeNWSECursor,
  resizeNESWCursor,
};

}  // namespace vello
