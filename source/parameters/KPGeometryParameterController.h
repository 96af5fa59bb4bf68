// The base of the controllers whose value is a place or a rectangle in the image. Most of them also own a
// view that lies over the canvas.
#pragma once

#include "source/parameters/KPCoreImageParameterController.h"
#include "source/parameters/parameter_view_controller.h"

namespace vello {

class KPGeometryParameterController : public KPCoreImageParameterController,
                                      public KPParameterViewControllerProtocol {
 public:
  KPGeometryParameterController(std::shared_ptr<CIFilter> filter, std::string parameter)
      : KPCoreImageParameterController(std::move(filter), std::move(parameter), kFastUpdateDelay) {}

  KPLabel& label() { return fLabel; }
  // nullptr for controllers without one.
  KPGeometryParameterView* geometryParameterView() const override { return fGeometryParameterView.get(); }
  void setImageBounds(const CGRect& bounds) override;
  // The canvas loses the view.
  void removingFilter() override;

 protected:
  void initControls() override { fLabel.setDisplayLabel(labelText()); }
  // Announces the view: the canvas answers with the bounds of the image before this returns.
  void showOnCanvas(std::unique_ptr<KPGeometryParameterView> view);
  // The view on the canvas shows and sets this place.
  void bindPosition(const std::function<CGPoint()>& position,
                    const std::function<void(CGPoint)>& setPosition);

  // The filter's vector; one without components while the input is nil.
  CIVector filterVector() const {
    const CIVector* vector = filterValue().vector();
    return vector ? *vector : CIVector();
  }
  // Writes the input as this controller's own doing: fMute tells observeValueForKeyPath not to write back.
  void setFilterValueMuted(Value value);

  // What the user enters, as it is taken. Places become whole pixels inside the image, halves away from zero.
  Value wholeNumber(float value) const;
  Value wholeXInImage(float x) const;
  Value wholeYInImage(float y) const;

  KPLabel fLabel;
  CGRect fImageBounds;  // zero until the canvas has answered
  bool fMute = false;

 private:
  CGPoint wholePositionInImage(CGPoint position) const;

  std::unique_ptr<KPGeometryParameterView> fGeometryParameterView;
};

}  // namespace vello
