// Trackers carry one drag on the canvas from mouse-down to mouse-up. The canvas makes one when the drag
// begins, gives itself to it, feeds it every event, and lets it go afterwards.
#pragma once

#include "source/screen/KPEvent.h"
#include "source/screen/KPView.h"

namespace vello {

// What trackers ask of the canvas.
class KPTrackerCanvas : public KPView {
 public:
  using KPView::KPView;
  // A slow canvas redraws by its own timer.
  virtual bool isSlow() const = 0;
  // The view of the enclosing scroll view whose bounds are what shows of the canvas.
  virtual const KPView& scrollContentView() const = 0;
  // Scrolls until the point (canvas coordinates) is the corner of what shows.
  virtual void scrollPoint(CGPoint point) = 0;
};

class KPTracker {
 public:
  virtual ~KPTracker() = default;
  // The canvas must outlive the drag. Call it before the first event.
  void setView(KPTrackerCanvas& canvas) { fMainView = &canvas; }
  virtual void mouseDown(const KPEvent&) {}
  virtual void mouseDrag(const KPEvent&) {}
  virtual void mouseUp(const KPEvent&) {}
  virtual bool wantsAutoScroll() const { return true; }

 protected:
  // For the end of a drag: what it changed is drawn again, unless the canvas does so by itself.
  void redisplayUnlessSlow() {
    fMainView->setNeedsDisplay(fMainView->needsDisplay() || !fMainView->isSlow());
  }

  KPTrackerCanvas* fMainView = nullptr;
};

}  // namespace vello
