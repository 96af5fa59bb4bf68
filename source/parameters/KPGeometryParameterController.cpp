#include "source/parameters/KPGeometryParameterController.h"

#include <algorithm>
#include <cmath>

#include "source/geometry/rect_functions.h"
#include "source/parameters/scoped_value.h"
#include "source/parameters/vector_encoding.h"

namespace vello {
namespace {

float roundedWithin(float value, double from, double length) {
  return static_cast<float>(std::round(std::min(std::max(double{value}, from), from + length)));
}

}  // namespace

void KPGeometryParameterController::showOnCanvas(std::unique_ptr<KPGeometryParameterView> view) {
  fGeometryParameterView = std::move(view);
  announcePositionControl();
}

void KPGeometryParameterController::bindPosition(const std::function<CGPoint()>& position,
                                                 const std::function<void(CGPoint)>& setPosition) {
  KPProperty shown = property([position] { return Value(vectorWithPoint(position())); },
                              [setPosition](const Value& v) { setPosition(pointValue(*v.vector())); });
  shown.validate = [this](const Value& v) {
    return Value(vectorWithPoint(wholePositionInImage(pointValue(*v.vector()))));
  };
  fGeometryParameterView->bind(std::move(shown));
}

void KPGeometryParameterController::setImageBounds(const CGRect& bounds) {
  fImageBounds = bounds;
  if (fGeometryParameterView) fGeometryParameterView->setConstrainingRect(bounds);
}

void KPGeometryParameterController::removingFilter() {
  if (fGeometryParameterView) {
    fGeometryParameterView->unbind();
    withdrawPositionControl();
  }
  KPCoreImageParameterController::removingFilter();
}

void KPGeometryParameterController::setFilterValueMuted(Value value) {
  const ScopedValue mute(fMute, true);
  setFilterValue(std::move(value));
}

Value KPGeometryParameterController::wholeNumber(float value) const { return std::round(value); }

Value KPGeometryParameterController::wholeXInImage(float x) const {
  return roundedWithin(x, fImageBounds.origin.x, fImageBounds.size.width);
}

Value KPGeometryParameterController::wholeYInImage(float y) const {
  return roundedWithin(y, fImageBounds.origin.y, fImageBounds.size.height);
}

CGPoint KPGeometryParameterController::wholePositionInImage(CGPoint position) const {
  return ConstrainToRect({std::round(position.x), std::round(position.y)}, fImageBounds);
}

}  // namespace vello
