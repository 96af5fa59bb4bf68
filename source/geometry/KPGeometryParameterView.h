// The base of the handles that lie on the canvas over the picture. A value lives in image space, its view in
// canvas space; the canvas gives every view the transform between them. Owned by the parameter controller;
// the canvas shows it as a subview and routes the mouse to it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "source/geometry/KPTracker.h"
#include "source/screen/KPBinding.h"
#include "source/screen/KPScreen.h"

namespace vello {

// What an on-canvas view asks of the controller that owns it.
class KPParameterViewOwner {
 public:
  // Brings the box of the filter into view in the list of filters.
  virtual void scrollToVisibleInStack() = 0;

 protected:
  ~KPParameterViewOwner() = default;
};

class KPGeometryParameterView : public KPView {
 public:
  KPGeometryParameterView(const CGRect& frame, std::string title, KPParameterViewOwner& controller);

  // Drawn only while the mouse is over the canvas.
  bool isDrawEnabled() const { return fEnabled; }
  void enableDraw();
  void disableDraw();
  const CGAffineTransform& transform() const { return fSourceToDestinationTransform; }
  // From image space to the canvas. One that cannot be inverted is refused with a log line.
  virtual void setTransform(const CGAffineTransform& transform);
  const CGRect& constrainingRect() const { return fConstrainingRect; }
  // Image space.
  void setConstrainingRect(const CGRect& rect) { fConstrainingRect = rect; }
  const std::string& title() const { return fParameterTitle; }
  virtual void setTitle(std::string title);
  // Where the title is drawn: the lower left corner, in this view.
  CGPoint titlePosition() const { return fTitlePosition; }
  static const KPFont& titleFont();
  void scrollToVisibleInStack() { fController.scrollToVisibleInStack(); }

  // Follows the property from now on. What the user drags is written back when the property's validation
  // agrees; when it does not, the handle stays where it was dragged.
  void bind(KPProperty property);
  void unbind() { fBinding.unbind(); }

  // All points in canvas coordinates.
  virtual CGPoint parameterLocation() const = 0;
  // A place that is not finite is refused with a log line.
  virtual void moveParameterTo(CGPoint point) = 0;
  virtual std::unique_ptr<KPTracker> tracker(CGPoint mouseDownPoint) = 0;
  virtual std::optional<KPCursor> mouseOverCursor(CGPoint point) const = 0;
  virtual std::optional<KPCursor> mouseDownCursor(CGPoint point) const = 0;
  // Adds this view's cursor rectangles to `view`.
  virtual void resetCursorRectsForView(KPView&) const {}

 protected:
  // The bound value as it comes from the model.
  virtual void showValue(const CIVector& value) = 0;
  virtual CIVector shownValue() const = 0;
  void updateObservedObject();
  CGSize titleSize() const { return fTitleSize; }
  CGPoint toCanvas(CGPoint imagePoint) const;
  CGPoint toImage(CGPoint canvasPoint) const;

  CGPoint fTitlePosition;

 private:
  CGAffineTransform fSourceToDestinationTransform, fSourceToDestinationInverseTransform;
  bool fEnabled = false;
  CGRect fConstrainingRect;
  KPParameterViewOwner& fController;
  std::string fParameterTitle;
  CGSize fTitleSize;
  KPBinding fBinding;
};

}  // namespace vello
