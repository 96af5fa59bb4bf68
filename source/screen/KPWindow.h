// A window as its session sees it: a place on the screen, the views inside, the mouse above it.
#pragma once

#include "source/screen/KPView.h"

namespace vello {

class KPWindow {
 public:
  // `frame`: in points on the screen.
  explicit KPWindow(const CGRect& frame) { fContentView.fWindow = this, setFrame(frame); }
  KPWindow(const KPWindow&) = delete;
  KPWindow& operator=(const KPWindow&) = delete;

  const CGRect& frame() const { return fFrame; }
  // The content view fills the window.
  void setFrame(const CGRect& frame) {
    fFrame = frame;
    fContentView.setFrame({{}, frame.size});
  }
  KPView& contentView() { return fContentView; }
  CGPoint convertPointToScreen(CGPoint point) const {
    return {fFrame.origin.x + point.x, fFrame.origin.y + point.y};
  }
  // In the window's coordinates, also while no event says so.
  CGPoint mouseLocation() const { return fMouseLocation; }
  void setMouseLocation(CGPoint location) { fMouseLocation = location; }

 private:
  CGRect fFrame;
  KPView fContentView;
  CGPoint fMouseLocation;
};

}  // namespace vello
