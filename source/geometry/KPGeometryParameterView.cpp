#include "source/geometry/KPGeometryParameterView.h"

#include <cmath>

#include "platform/log.h"

namespace vello {
namespace {

bool canBeInverted(const CGAffineTransform& t) {
  const double determinant = t.a * t.d - t.b * t.c;
  return std::isfinite(determinant) && determinant != 0 && std::isfinite(1 / determinant) &&
         std::isfinite(t.tx) && std::isfinite(t.ty);
}

}  // namespace

KPGeometryParameterView::KPGeometryParameterView(const CGRect& frame, std::string title,
                                                 KPParameterViewOwner& controller)
    : KPView(frame),
      fController(controller),
      fParameterTitle(std::move(title)),
      fTitleSize(textSize(fParameterTitle, titleFont())) {}

const KPFont& KPGeometryParameterView::titleFont() {
  static const KPFont font{"LucidaGrande-Bold", 10};
  return font;
}

void KPGeometryParameterView::enableDraw() {
  fEnabled = true;
  setNeedsDisplay(true);
}

void KPGeometryParameterView::disableDraw() {
  fEnabled = false;
  setNeedsDisplay(true);
}

void KPGeometryParameterView::setTransform(const CGAffineTransform& transform) {
  if (!canBeInverted(transform))
    return logLine("*** Vello : %@: a transform to the canvas that cannot be inverted was refused",
                   {title()});
  fSourceToDestinationTransform = transform;
  fSourceToDestinationInverseTransform = CGAffineTransformInvert(transform);
}

void KPGeometryParameterView::setTitle(std::string title) {
  fParameterTitle = std::move(title);
  fTitleSize = textSize(fParameterTitle, titleFont());
  setNeedsDisplay(true);
}

void KPGeometryParameterView::bind(KPProperty property) {
  KPBindingOptions options;
  options.validatesImmediately = true;
  fBinding.bind(std::move(property), options, [this](const Value& value) {
    if (const CIVector* vector = value.vector()) showValue(*vector);
  });
}

void KPGeometryParameterView::updateObservedObject() {
  if (fBinding.isBound()) fBinding.write(shownValue());
}

CGPoint KPGeometryParameterView::toCanvas(CGPoint imagePoint) const {
  return CGPointApplyAffineTransform(imagePoint, fSourceToDestinationTransform);
}

CGPoint KPGeometryParameterView::toImage(CGPoint canvasPoint) const {
  return CGPointApplyAffineTransform(canvasPoint, fSourceToDestinationInverseTransform);
}

}  // namespace vello
