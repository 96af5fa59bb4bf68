// The preview canvas. Without a window it only tells parameter controllers the bounds of the image: its
// transform stays the identity and a change of the stack recomputes nothing, so a chain gives the same
// numbers with and without a window. Owned by the window controller.
#pragma once

#include <string_view>

#include "engine/image/image.h"
#include "platform/connection.h"
#include "platform/run_loop.h"
#include "source/core/stack/KPFilterStack.h"

namespace vello {

class KPImageFilterView {
 public:
  KPImageFilterView();
  KPImageFilterView(const KPImageFilterView&) = delete;
  KPImageFilterView& operator=(const KPImageFilterView&) = delete;

  // The stack outlives the canvas or is replaced before it goes.
  void setFilterStack(const KPFilterStack& stack, CIImage baseImage);
  // From image space to the canvas.
  const CGAffineTransform& sourceToDestinationTransform() const { return fSourceToDestinationTransform; }
  // Drags are driven by the host's event loop: their timer runs in the default mode, not the modal-panel
  // mode.
  void setCarbonDragging(bool carbonDragging);
  std::string_view runLoopMode() const { return fRunLoopMode; }

 private:
  void positionControlAdded(const void* controller) const;

  const KPFilterStack* fFilterStack = nullptr;
  CIImage fBaseImage;
  CGAffineTransform fSourceToDestinationTransform;
  std::string_view fRunLoopMode = kModalPanelRunLoopMode;
  Connection fControlAddedObserver;
};

}  // namespace vello
