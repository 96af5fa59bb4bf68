// A rectangle of the picture on the canvas: its outline with eight handles, and a tab with its title above
// it. It is moved by the outline or the tab and resized by the handles; its inside belongs to the picture.
#pragma once

#include <array>

#include "source/geometry/KPGeometryParameterView.h"
#include "source/geometry/KPPath.h"
#include "source/geometry/KPRectTemplate.h"

namespace vello {

class KPRectParameterView : public KPGeometryParameterView {
 public:
  // In the order they are drawn and hit in; the first one hit wins.
  static constexpr std::array<KPRectHandle, 8> kHandleOrder = {
      kRectHandleTopLeft,     kRectHandleMiddleTop,  kRectHandleTopRight,     kRectHandleMiddleLeft,
      kRectHandleMiddleRight, kRectHandleBottomLeft, kRectHandleMiddleBottom, kRectHandleBottomRight};

  // `keepAspectByDefault`: resizing keeps the ratio without shift, and frees it with shift.
  KPRectParameterView(std::string title, bool keepAspectByDefault, KPParameterViewOwner& controller);

  // Width over height to keep; 0 keeps the ratio the rectangle has when a drag starts. Others that are not
  // above 0 and finite are refused with a log line.
  void setAspectRatio(float ratio);
  // Image space. A rectangle that is not finite is refused with a log line.
  const CGRect& rectValue() const { return fRectValue; }
  void setRectValue(const CGRect& rect);
  // Canvas coordinates; never of negative size.
  KPRectTemplate destinationRectValue() const { return toCanvasRect(fRectValue); }
  KPRectTemplate destinationConstrainingRect() const { return toCanvasRect(constrainingRect()); }
  // The user's rectangle: written back through the binding.
  void setDestinationRectValue(const KPRectTemplate& rect);
  void setTransform(const CGAffineTransform& transform) override;
  void setTitle(std::string title) override;

  // What is drawn. The tab is filled along one path and stroked, one unit wide, along the other, both in this
  // view's coordinates; outline and handles lie on the pixels of the window, in its coordinates.
  const KPPath& tabPath() const { return fTabPath; }
  const KPPath& tabStrokePath() const { return fTabStrokePath; }
  const CGRect& titleTabBounds() const { return fTitleTabBounds; }
  CGRect outlineInWindow() const;
  CGRect handleSquareInWindow(KPRectHandle handle) const;

  // `point` in this view's coordinates.
  KPRectHandle hitTestHandles(CGPoint point) const;
  // Handles, tab, and the outline with one unit on both sides.
  KPView* hitTest(CGPoint point) override;
  CGPoint parameterLocation() const override { return toCanvas(fRectValue.origin); }
  void moveParameterTo(CGPoint point) override;
  std::unique_ptr<KPTracker> tracker(CGPoint mouseDownPoint) override;
  std::optional<KPCursor> mouseOverCursor(CGPoint point) const override;
  std::optional<KPCursor> mouseDownCursor(CGPoint point) const override;
  void resetCursorRectsForView(KPView& view) const override;

 protected:
  void showValue(const CIVector& value) override;
  CIVector shownValue() const override;

 private:
  KPRectTemplate toCanvasRect(const CGRect& rect) const;
  KPRectHandle handleAtCanvasPoint(CGPoint point) const;
  // Where the rectangle lies. Outside any canvas, its coordinates are the window's.
  const KPView& canvas() const;
  bool acceptsRect(const CGRect& rect) const;
  void updateTitleAndFrame();
  void buildTabPaths(bool overhangs, double rectRight);

  KPPath fTabPath, fTabStrokePath;
  CGRect fTitleTabBounds;  // this view's coordinates
  CGRect fRectValue;
  bool fKeepAspectByDefault;
  float fAspectRatio = 0;
};

}  // namespace vello
