// A rectangle in a tree of views: what layout, hit-testing and the mouse need of a view, without drawing.
//
// A view's frame lies in its superview's coordinates, its bounds are its own; both have the same size, and
// bounds with another origin scroll the content. y grows upwards but in a flipped view. The tree owns
// nothing: whoever made a view keeps it, and a view that goes leaves the tree. Lives on its window's thread.
#pragma once

#include <vector>

#include "platform/geometry.h"
#include "source/screen/KPCursor.h"

namespace vello {

class KPWindow;

struct KPCursorRect {
  CGRect rect;  // in the coordinates of the view that has it
  KPCursor cursor;
};

class KPView {
 public:
  KPView() = default;
  explicit KPView(const CGRect& frame) : fFrame(frame) {}
  virtual ~KPView();
  KPView(const KPView&) = delete;
  KPView& operator=(const KPView&) = delete;

  const CGRect& frame() const { return fFrame; }
  virtual void setFrame(const CGRect& frame);
  void setFrameOrigin(CGPoint origin) { setFrame({origin, fFrame.size}); }
  void setFrameSize(CGSize size) { setFrame({fFrame.origin, size}); }
  CGRect bounds() const { return {fBoundsOrigin, fFrame.size}; }
  void setBoundsOrigin(CGPoint origin);

  KPView* superview() const { return fSuperview; }
  // From back to front.
  const std::vector<KPView*>& subviews() const { return fSubviews; }
  // In front of all others; it leaves its former superview. Must not hold this view.
  void addSubview(KPView& view);
  void removeFromSuperview();
  // nullptr outside any window.
  KPWindow* window() const;

  bool isHidden() const { return fHidden; }
  void setHidden(bool hidden);
  bool needsDisplay() const { return fNeedsDisplay; }
  void setNeedsDisplay(bool needed) { fNeedsDisplay = needed; }
  virtual bool isFlipped() const { return false; }

  // Between this view's coordinates and another's of the same window; nullptr is the window.
  CGPoint convertPointToView(CGPoint point, const KPView* view) const;
  CGPoint convertPointFromView(CGPoint point, const KPView* view) const;
  CGRect convertRectToView(const CGRect& rect, const KPView* view) const;
  CGRect convertRectFromView(const CGRect& rect, const KPView* view) const;
  CGPoint convertPointToScreen(CGPoint point) const;
  // What no superview clips, in this view's coordinates; zero when that is nothing.
  CGRect visibleRect() const;

  // The frontmost view at `point` (superview's coordinates) that takes the mouse, or nullptr.
  virtual KPView* hitTest(CGPoint point);
  // Where the mouse changes its cursor; a later one lies above the former.
  void addCursorRect(const CGRect& rect, KPCursor cursor) { fCursorRects.push_back({rect, cursor}); }
  void discardCursorRects() { fCursorRects.clear(); }
  const std::vector<KPCursorRect>& cursorRects() const { return fCursorRects; }
  // Asks the enclosing views to scroll until `rect` shows; those that scroll override it.
  virtual void scrollRectToVisible(const CGRect& rect);

 private:
  friend class KPWindow;
  CGPoint toSuperview(CGPoint point) const;
  CGPoint fromSuperview(CGPoint point) const;
  bool isFlippedInSuperview() const;

  CGRect fFrame;
  CGPoint fBoundsOrigin;
  KPView* fSuperview = nullptr;
  std::vector<KPView*> fSubviews;
  std::vector<KPCursorRect> fCursorRects;
  KPWindow* fWindow = nullptr;  // of a window's content view only; KPWindow sets it
  bool fHidden = false;
  bool fNeedsDisplay = true;
};

}  // namespace vello
